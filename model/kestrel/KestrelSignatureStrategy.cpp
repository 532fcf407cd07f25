#include "model/kestrel/KestrelSignatureStrategy.h"

#include "model/identity/BaseException.h"
#include "model/service/JsonFields.h"
#include "model/service/ServiceExchange.h"
#include "model/service/SignatureCopy.h"
#include "model/harrier/UserAuthentication.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"

namespace orvane::model {

namespace {

// A person gets this long to answer on the phone.
constexpr std::int64_t kTimeLimitSeconds = 60;

void requireAuthentication(const UserAuthentication* authentication)
{
    if (!authentication)
        throw new BaseException("ptrUserAuthentication not set");
}

valmora::net::DocumentOutcome postToService(const std::wstring& path, const Json::Value& request,
                                            Json::Value& reply, const UserAuthentication& authentication)
{
    std::wstring mark;
    return valmora::net::postSignedEnvelope(kestrelBaseUrl() + path + authentication.code, authentication.keyName,
                                            request, reply, mark);
}

} // namespace

KestrelSignatureStrategy::KestrelSignatureStrategy(Clock& clock)
    : clock_(clock)
{
}

KestrelSignatureStrategy& KestrelSignatureStrategy::instance()
{
    static KestrelSignatureStrategy strategy;
    return strategy;
}

SessionOpening KestrelSignatureStrategy::openSession(const std::wstring&, UserAuthentication*)
{
    throw BaseException("\"KestrelSignatureStrategy::openSession\" not implemented");
}

void KestrelSignatureStrategy::sign(const std::wstring& keyName, const std::wstring&,
                                    const std::wstring& hashAlgorithm, const unsigned char* hash,
                                    std::size_t hashLength, unsigned char* signature, std::size_t signatureCapacity,
                                    UserAuthentication* authentication)
{
    const std::string requestCode = pushHash(keyName, hashAlgorithm, hash, hashLength, authentication);
    const std::int64_t start = clock_.nowSeconds();
    int wait = 6;
    for (;;) {
        clock_.sleepSeconds(wait);
        const bool done = pollResult(requestCode, signature, signatureCapacity, authentication);
        if (wait >= 2)
            --wait;
        // Checked before the answer counts: an approval that comes after the
        // limit is still a time-out.
        if (clock_.nowSeconds() - start > kTimeLimitSeconds)
            throw new BaseException("Tempo esgotado");
        if (done)
            return;
    }
}

std::string KestrelSignatureStrategy::pushHash(const std::wstring& keyName, const std::wstring& hashAlgorithm,
                                               const unsigned char* hash, std::size_t hashLength,
                                               UserAuthentication* authentication)
{
    requireAuthentication(authentication);
    Json::Value request(Json::objectValue);
    request["hashAlgorithm"] = toUtf8(hashAlgorithm);
    request["hashContent"] = valmora::signer::base64Encode(valmora::signer::Bytes(hash, hash + hashLength));
    request["keyName"] = toUtf8(keyName);
    request["keyType"] = "RSA";

    Json::Value reply;
    const auto outcome = postToService(L"/push/", request, reply, *authentication);
    if (outcome.offline || outcome.httpStatus != 200)
        throw BaseException("Problema ao enviar hash para assinatura. Erro HTTP "
                            + std::to_string(outcome.httpStatus));
    return readPushAnswer(reply);
}

std::string KestrelSignatureStrategy::readPushAnswer(const Json::Value& reply)
{
    if (json::narrowMember(reply, "status") != "true")
        throw BaseException("Erro ao enviar push");
    return json::narrowMember(reply, "requestCode");
}

bool KestrelSignatureStrategy::pollResult(const std::string& requestCode, unsigned char* signature,
                                          std::size_t signatureCapacity, UserAuthentication* authentication)
{
    requireAuthentication(authentication);
    Json::Value request(Json::objectValue);
    request["requestCode"] = requestCode;
    Json::Value reply;
    const auto outcome = postToService(L"/isDone/", request, reply, *authentication);
    if (outcome.offline || outcome.httpStatus != 200)
        throw BaseException("Problema ao buscar resultado para assinatura. Erro HTTP "
                            + std::to_string(outcome.httpStatus));
    return readPollAnswer(reply, signature, signatureCapacity);
}

bool KestrelSignatureStrategy::readPollAnswer(const Json::Value& reply, unsigned char* signature,
                                              std::size_t signatureCapacity)
{
    if (json::narrowMember(reply, "status") != "true")
        return false;
    const Json::Value& answers = json::member(reply, "hashArray");
    if (!answers.isArray())
        throw BaseException("Formato JSON desconhecido");
    for (const Json::Value& answer : answers) {
        if (json::narrowMember(answer, "status") != "true")
            continue;
        copySignature(valmora::signer::base64Decode(json::narrowMember(answer, "signedHash")), signature,
                      signatureCapacity);
        break;
    }
    // Answered, with or without a signature: a refusal leaves the buffer as
    // it was.
    return true;
}

} // namespace orvane::model
