#pragma once

#include "model/SignatureStrategy.h"

namespace orvane::model {

// Signs with a key in the Harrier cloud store: a session is opened with the
// key's PIN and a one-time code, then digests are signed under its token.
class HarrierSignatureStrategy : public SignatureStrategy {
public:
    // The process-wide object behind every key reference of a wallet.
    static HarrierSignatureStrategy& instance();

    // Needs a PasswordAndOtpAuthentication.
    SessionOpening openSession(const std::wstring& keyName, UserAuthentication* authentication) override;
    // Needs a SessionTokenAuthentication.
    void sign(const std::wstring& keyName,
              const std::wstring& spare,
              const std::wstring& hashAlgorithm,
              const unsigned char* hash,
              std::size_t hashLength,
              unsigned char* signature,
              std::size_t signatureCapacity,
              UserAuthentication* authentication) override;
    std::int32_t strategyKind() const override { return Harrier; }
};

} // namespace orvane::model
