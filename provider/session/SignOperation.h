#pragma once

#include "provider/objects/CertificateObjects.h"
#include "signer/OpenSslPtr.h"

#include <p11-kit/pkcs11.h>

#include <memory>
#include <string>

namespace orvane::provider {

// A signature begun with C_SignInit: the mechanism, the key, and for the
// hashing mechanisms the hash so far (C_SignUpdate).
struct SignOperation {
    CK_MECHANISM_TYPE mechanism = 0;
    std::shared_ptr<const CertificateObjects> key;
    // The services' name of the mechanism's hash; empty for CKM_RSA_PKCS,
    // whose caller hashes and hands over the DigestInfo.
    std::string hashName;
    std::shared_ptr<EVP_MD_CTX> hashing;
    bool updated = false;
};

} // namespace orvane::provider
