#pragma once

#include "model/keys/KeyReference.h"

#include <p11-kit/pkcs11.h>

#include <string>
#include <vector>

namespace orvane::provider {

// What the module needs of one key of a group: its name at the service
// (the container name of its "MY" entry), its local identifier (CKA_ID) and
// the fingerprint of the certificate the identity holds for it.
struct RemoteKey {
    std::wstring keyName;
    std::wstring friendlyName;
    model::KeyId keyId{};
    std::string fingerprint;
};

// One key group of the identity as a PKCS#11 slot with its token: a paired
// phone (signatures approved on the phone) or the wallet of a cloud account
// (signatures under a session opened with C_Login).
struct KeyGroupToken {
    CK_SLOT_ID slotId = 0;
    bool phone = true;
    // The group's display name, as the agent shows it.
    std::string name;
    // What stays the same while the group stays: the phone's device code, or
    // the account's service address, user and organisation.
    std::string groupKey;
    // This computer's code at the group's service.
    std::wstring code;
    // "push" or "local" for a cloud account; empty for a phone.
    std::wstring authorizationMode;
    std::vector<RemoteKey> keys;
};

} // namespace orvane::provider
