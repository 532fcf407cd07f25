#pragma once

#include <cstdint>
#include <string>

namespace orvane::model {

// Outcome of an operation that talks to a service. Status 0 with an empty
// message is success; status 1 means the server could not be reached; a
// non-empty message is the service's refusal, to be shown as it stands.
struct OperationResult {
    std::string message;
    std::int32_t status = 0;

    bool succeeded() const { return status == 0 && message.empty(); }
};

} // namespace orvane::model
