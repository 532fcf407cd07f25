#pragma once

#include "signer/Encoding.h"

#include <optional>
#include <string>

namespace orvane::provider {

// The DER DigestInfo that PKCS#1 v1.5 signs: the hash algorithm and the
// hash. The services take the hash and the algorithm's name and build the
// DigestInfo themselves, so a caller's DigestInfo (CKM_RSA_PKCS) is read back
// into those two, and only the five SHA hashes are understood.
struct DigestInfo {
    // "SHA1", "SHA224", "SHA256", "SHA384" or "SHA512": the names the
    // services take.
    std::string hashName;
    valmora::signer::Bytes hash;

    // Nothing for anything but the exact DER of one of the five hashes.
    static std::optional<DigestInfo> parse(const unsigned char* data, std::size_t length);
    // The DER of this DigestInfo.
    valmora::signer::Bytes encode() const;
};

} // namespace orvane::provider
