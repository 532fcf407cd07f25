#pragma once

#include <memory>

namespace valmora::signer {

// A private key as one repository knows it: an OpenSSL key for an archive,
// a reference into the system's key services for the system repository. A
// handle means something only to the repository that issued it.
class PrivateKey {
public:
    virtual ~PrivateKey();
};

using PrivateKeyHandle = std::shared_ptr<PrivateKey>;

} // namespace valmora::signer
