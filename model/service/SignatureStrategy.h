#pragma once

#include "model/harrier/SessionOpening.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace orvane::model {

class UserAuthentication;

// How a key that never reaches this computer signs: each service has one
// process-wide strategy object, and every key reference points to the one of
// its service. Strategies keep nothing between calls and may be used from
// several threads.
class SignatureStrategy {
public:
    enum Kind : std::int32_t { Kestrel = 0, Harrier = 2 };

    virtual SessionOpening openSession(const std::wstring& keyName, UserAuthentication* authentication) = 0;

    // Signs `hash` with the key called `keyName` at the service and writes
    // the signature into `signature`, which holds `signatureCapacity` bytes.
    // `spare` is unused by both services.
    virtual void sign(const std::wstring& keyName,
                      const std::wstring& spare,
                      const std::wstring& hashAlgorithm,
                      const unsigned char* hash,
                      std::size_t hashLength,
                      unsigned char* signature,
                      std::size_t signatureCapacity,
                      UserAuthentication* authentication) = 0;

    virtual std::int32_t strategyKind() const = 0;

    virtual ~SignatureStrategy() = default;
};

} // namespace orvane::model
