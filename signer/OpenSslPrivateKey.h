#pragma once

#include "signer/PrivateKey.h"

#include <openssl/types.h>

#include <memory>
#include <utility>

namespace valmora::signer {

// The private key of an ArchiveRepository: an OpenSSL key, shared with the
// archive that holds it.
class OpenSslPrivateKey : public PrivateKey {
public:
    explicit OpenSslPrivateKey(std::shared_ptr<EVP_PKEY> key) : key_(std::move(key)) {}

    EVP_PKEY* get() const { return key_.get(); }
    const std::shared_ptr<EVP_PKEY>& shared() const { return key_; }

private:
    std::shared_ptr<EVP_PKEY> key_;
};

} // namespace valmora::signer
