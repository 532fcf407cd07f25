#pragma once

#include "model/SignatureStrategy.h"

namespace orvane::model {

// Signs with a key on a phone: the digest is pushed through the Kestrel
// service and the phone's answer is polled for. Kestrel has no sessions.
class KestrelSignatureStrategy : public SignatureStrategy {
public:
    // The process-wide object behind every key reference of a device.
    static KestrelSignatureStrategy& instance();

    // Always fails: there is no session to open at this service.
    SessionOpening openSession(const std::wstring& keyName, UserAuthentication* authentication) override;
    void sign(const std::wstring& keyName,
              const std::wstring& spare,
              const std::wstring& hashAlgorithm,
              const unsigned char* hash,
              std::size_t hashLength,
              unsigned char* signature,
              std::size_t signatureCapacity,
              UserAuthentication* authentication) override;
    std::int32_t strategyKind() const override { return Kestrel; }
};

} // namespace orvane::model
