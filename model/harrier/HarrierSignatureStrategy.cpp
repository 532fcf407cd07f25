#include "model/harrier/HarrierSignatureStrategy.h"

#include "model/identity/BaseException.h"
#include "model/service/JsonFields.h"
#include "model/harrier/PasswordAndOtpAuthentication.h"
#include "model/service/ServiceExchange.h"
#include "model/harrier/SessionTokenAuthentication.h"
#include "model/service/SignatureCopy.h"
#include "config/TextCodec.h"

#include <vector>

namespace orvane::model {

namespace {

// The parts of a key name between ";" separators, empty parts left out.
std::vector<std::string> keyNameParts(const std::wstring& keyName)
{
    std::vector<std::string> parts;
    std::wstring part;
    for (wchar_t c : keyName + L";") {
        if (c != L';') {
            part += c;
        } else if (!part.empty()) {
            parts.push_back(toUtf8(part));
            part.clear();
        }
    }
    return parts;
}

// The serial number and the issuer of a key name. A name without the issuer
// cannot be used for signing: std::out_of_range.
void addKeyParts(Json::Value& request, const std::wstring& keyName)
{
    const std::vector<std::string> parts = keyNameParts(keyName);
    request["serialNumber"] = parts.at(0);
    request["issue"] = parts.at(1);
}

bool isTrue(const Json::Value& value)
{
    return value.isBool() && value.asBool();
}

std::string textOf(const Json::Value& value)
{
    if (value.isString() || value.isNumeric() || value.isBool())
        return value.asString();
    return value.isNull() ? std::string() : jsonText(value);
}

} // namespace

HarrierSignatureStrategy& HarrierSignatureStrategy::instance()
{
    static HarrierSignatureStrategy strategy;
    return strategy;
}

SessionOpening HarrierSignatureStrategy::openSession(const std::wstring& keyName,
                                                     UserAuthentication* authentication)
{
    auto* credentials = dynamic_cast<PasswordAndOtpAuthentication*>(authentication);
    if (!credentials)
        throw new BaseException("ptrUserAuthentication not set");

    Json::Value request(Json::objectValue);
    addKeyParts(request, keyName);
    request["desktopCode"] = toUtf8(credentials->code);
    request["nomeAplicacaoDesktop"] = toUtf8(credentials->applicationName);
    request["otp"] = toUtf8(credentials->otp);
    request["pin"] = toUtf8(credentials->pin);
    request["push"] = credentials->push;

    Json::Value reply;
    std::wstring mark;
    const auto outcome = valmora::net::postBearerSigned(harrierUrl(L"/api/signature/tokensessao"),
                                                        credentials->keyName, request, reply, mark);
    if (outcome.offline) {
        SessionOpening result;
        result.status = 1;
        return result;
    }
    return readSessionAnswer(reply, outcome.httpStatus);
}

SessionOpening HarrierSignatureStrategy::readSessionAnswer(const Json::Value& reply, int httpStatus)
{
    SessionOpening result;
    if (isSuccessStatus(httpStatus)) {
        if (isTrue(json::member(reply, "status")))
            result.token = json::wideMember(reply, "token");
        else
            result.message = textOf(json::member(reply, "message"));
        return result;
    }
    const Json::Value& message = json::member(reply, "message");
    result.message = "Abertura de sessão não realizada. Erro HTTP(" + std::to_string(httpStatus)
        + (message.isNull() ? ")" : "): " + jsonText(message));
    return result;
}

void HarrierSignatureStrategy::sign(const std::wstring& keyName, const std::wstring&,
                                    const std::wstring& hashAlgorithm, const unsigned char* hash,
                                    std::size_t hashLength, unsigned char* signature, std::size_t signatureCapacity,
                                    UserAuthentication* authentication)
{
    auto* session = dynamic_cast<SessionTokenAuthentication*>(authentication);
    if (!session)
        throw new BaseException("ptrUserAuthentication not set");

    Json::Value request(Json::objectValue);
    addKeyParts(request, keyName);
    request["algorithm"] = toUtf8(hashAlgorithm);
    request["desktopCode"] = toUtf8(session->code);
    Json::Value element(Json::objectValue);
    element["hash"] = valmora::signer::base64Encode(valmora::signer::Bytes(hash, hash + hashLength));
    element["id"] = 0;
    request["hashArray"] = Json::Value(Json::arrayValue);
    request["hashArray"].append(element);
    request["sessionToken"] = toUtf8(session->sessionToken);

    Json::Value reply;
    std::wstring mark;
    const auto outcome = valmora::net::postBearerSigned(harrierUrl(L"/api/signature/requestHashSessionSignature"),
                                                        session->keyName, request, reply, mark);
    if (outcome.offline)
        throw BaseException("Servidor está offline");
    readSignatureAnswer(reply, outcome.httpStatus, signature, signatureCapacity);
}

void HarrierSignatureStrategy::readSignatureAnswer(const Json::Value& reply, int httpStatus,
                                                   unsigned char* signature, std::size_t signatureCapacity)
{
    if (!isSuccessStatus(httpStatus))
        throw BaseException("Assinatura não realizada. Erro HTTP(" + std::to_string(httpStatus)
                            + "): " + jsonText(json::member(reply, "message")));
    if (!isTrue(json::member(reply, "status")))
        throw BaseException(textOf(json::member(reply, "message")));
    const Json::Value& answers = json::member(reply, "idArray");
    const Json::Value& first = answers.isArray() && !answers.empty() ? answers[0] : Json::Value::nullSingleton();
    if (!isTrue(json::member(first, "status")))
        throw BaseException(textOf(json::member(first, "message")));
    copySignature(valmora::signer::base64Decode(json::narrowMember(first, "signatureBase64")), signature,
                  signatureCapacity);
}

} // namespace orvane::model
