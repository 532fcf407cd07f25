#pragma once

#include "provider/session/SignOperation.h"

#include <p11-kit/pkcs11.h>

#include <optional>
#include <vector>

namespace orvane::provider {

// One session that a program opened on a token, with its object search and
// its signature under way.
struct Session {
    CK_SLOT_ID slotId = 0;
    CK_FLAGS flags = 0;
    bool finding = false;
    std::vector<CK_OBJECT_HANDLE> found;
    std::size_t position = 0;
    std::optional<SignOperation> signing;
};

} // namespace orvane::provider
