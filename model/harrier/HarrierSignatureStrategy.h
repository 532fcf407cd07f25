#pragma once

#include "model/service/SignatureStrategy.h"

#include <json/value.h>

#include <string>

namespace orvane::model {

// Signs with a key in the Harrier cloud store: a session is opened on the key
// with its PIN and a one-time code ("tokensessao"), then digests are signed
// under the session's token ("requestHashSessionSignature"). Both calls are
// also signed by this computer's key. A key's name at the service is its
// certificate's serial number and issuer with ";" between them.
//
// A wrong kind of authentication is thrown as a pointer to a heap
// BaseException ("ptrUserAuthentication not set"), which the catcher owns and
// deletes; every other failure of sign() is a BaseException by value.
class HarrierSignatureStrategy : public SignatureStrategy {
public:
    // The process-wide object behind every key reference of a wallet.
    static HarrierSignatureStrategy& instance();

    // Needs a PasswordAndOtpAuthentication. Reports through its result:
    // the token, the service's message (status 0), or status 1 offline.
    SessionOpening openSession(const std::wstring& keyName, UserAuthentication* authentication) override;
    // Needs a SessionTokenAuthentication; reports failures by exception.
    void sign(const std::wstring& keyName,
              const std::wstring& spare,
              const std::wstring& hashAlgorithm,
              const unsigned char* hash,
              std::size_t hashLength,
              unsigned char* signature,
              std::size_t signatureCapacity,
              UserAuthentication* authentication) override;
    std::int32_t strategyKind() const override { return Harrier; }

    // What an answer of "tokensessao" says, once the service was reached.
    static SessionOpening readSessionAnswer(const Json::Value& reply, int httpStatus);
    // What an answer of "requestHashSessionSignature" says, once the service
    // was reached: the signature copied into the buffer, or BaseException.
    static void readSignatureAnswer(const Json::Value& reply, int httpStatus, unsigned char* signature,
                                    std::size_t signatureCapacity);
};

} // namespace orvane::model
