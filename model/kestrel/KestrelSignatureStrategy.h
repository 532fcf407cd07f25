#pragma once

#include "model/service/Clock.h"
#include "model/service/SignatureStrategy.h"

#include <json/value.h>

#include <string>

namespace orvane::model {

// Signs with a key on a phone: the digest is pushed through the Kestrel
// service ("/push/") and the phone's answer is polled for ("/isDone/") with
// waits of 6, 5, 4, 3, 2, 1, 1... seconds, for at most a minute. Kestrel has
// no sessions.
//
// Two failures are thrown as pointers to heap objects, which the catcher
// owns and deletes: a missing authentication ("ptrUserAuthentication not
// set") and the time limit ("Tempo esgotado"). Every other failure is a
// BaseException thrown by value.
class KestrelSignatureStrategy : public SignatureStrategy {
public:
    // The waits and the time limit run on `clock`.
    explicit KestrelSignatureStrategy(Clock& clock = Clock::system());

    // The process-wide object behind every key reference of a device.
    static KestrelSignatureStrategy& instance();

    // Always fails: there is no session to open at this service.
    SessionOpening openSession(const std::wstring& keyName, UserAuthentication* authentication) override;
    // `authentication` gives the installation code and this computer's key;
    // `keyName` is the key's name on the phone.
    void sign(const std::wstring& keyName,
              const std::wstring& spare,
              const std::wstring& hashAlgorithm,
              const unsigned char* hash,
              std::size_t hashLength,
              unsigned char* signature,
              std::size_t signatureCapacity,
              UserAuthentication* authentication) override;
    std::int32_t strategyKind() const override { return Kestrel; }

    // What a 200 answer of "/isDone/" says: false while the phone has not
    // answered; once it has, the first signature it holds is copied into
    // the buffer (none leaves the buffer as it was).
    static bool readPollAnswer(const Json::Value& reply, unsigned char* signature, std::size_t signatureCapacity);
    // What a 200 answer of "/push/" says: the handle of the phone's request,
    // or BaseException when the service refused it.
    static std::string readPushAnswer(const Json::Value& reply);

private:
    std::string pushHash(const std::wstring& keyName, const std::wstring& hashAlgorithm, const unsigned char* hash,
                         std::size_t hashLength, UserAuthentication* authentication);
    bool pollResult(const std::string& requestCode, unsigned char* signature, std::size_t signatureCapacity,
                    UserAuthentication* authentication);

    Clock& clock_;
};

} // namespace orvane::model
