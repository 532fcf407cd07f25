#pragma once

#include <string>

namespace orvane::model {

// A person as the Kestrel service looks them up: the document number (the
// parts of a hierarchy's fields joined as the service expects) and the
// hierarchy's code.
struct IdentityKey {
    std::wstring identity;
    std::wstring hierarchyCode;
};

} // namespace orvane::model
