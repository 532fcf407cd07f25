#pragma once

#include "signer/Encoding.h"
#include "signer/OpenSslPtr.h"

#include <string>

namespace valmora::signer {

// An RSA public key as big-endian byte arrays; the form in which keys travel
// between the repositories and to the services.
struct PublicKey {
    Bytes modulus;   // big-endian, no sign byte
    Bytes exponent;  // big-endian
    Bytes reserved;  // carried for layout's sake; always empty

    // The RSA parts of an OpenSSL key. Throws BaseException "Cannot get RSA
    // key from private key" for another key type, "Cannot extract modulus"
    // or "Cannot extract exponent" when OpenSSL cannot give them.
    static PublicKey fromEvp(const EVP_PKEY* key);

    // An OpenSSL key object with these parts. Each array must stay below
    // 2^31 bytes (std::overflow_error otherwise); OpenSSL failures throw
    // BaseException.
    EvpPkeyPtr toEvp() const;

    // The key as a "PUBLIC KEY" PEM block.
    std::string toPem() const;
};

// `modulus` byte for byte; `exponent` as unsigned numbers, so leading zero
// bytes do not count.
bool operator==(const PublicKey& left, const PublicKey& right);
bool operator!=(const PublicKey& left, const PublicKey& right);

// Reads a whole memory BIO in portions of 1024 bytes.
std::string readAll(BIO* bio);

} // namespace valmora::signer
