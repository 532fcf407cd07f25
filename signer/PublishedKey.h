#pragma once

#include "signer/Certificate.h"

#include <string>

namespace valmora::signer {

// What publication needs to know of one remote key: its certificate, the
// key's name at its service (the container name of the link) and the name
// the user gave it. The identity model makes these from its key references.
struct PublishedKey {
    Certificate certificate;
    std::wstring keyName;
    std::wstring friendlyName;  // carried for the caller; entries are shown under their subject
};

} // namespace valmora::signer
