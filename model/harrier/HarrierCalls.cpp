#include "model/harrier/HarrierCalls.h"

#include "model/identity/BaseException.h"
#include "model/service/JsonFields.h"
#include "model/identity/Orvane.h"
#include "model/service/ServiceExchange.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"

#include "signer/Certificate.h"
#include "signer/SystemRepository.h"

#include <iostream>

namespace orvane::model {

namespace {

const char* const kOffline = "Servidor está offline";

Json::Value momentoRequest(Clock& clock)
{
    Json::Value request(Json::objectValue);
    request["momento"] = millisecondsText(clock);
    return request;
}

std::wstring desktopPath(const HarrierInstallation& installation, const std::wstring& tail)
{
    return L"/api/manager/orvane/" + installation.desktopCode + tail;
}

// The text of a failed wallet call; the service's "message" is written as a
// JSON value, so a text keeps its quotes and a missing one reads null.
std::string walletFailure(int status, const Json::Value& reply)
{
    return "Certificados não obtidos. Erro HTTP(" + std::to_string(status)
        + "): " + jsonText(json::member(reply, "message"));
}

} // namespace

std::wstring signingKeyName(const HarrierInstallation& installation)
{
    if (!installation.owner)
        throw BaseException("HarrierInstallation sem identidade: chave de assinatura desconhecida");
    return installation.owner->privateKeyReference;
}

LoginResult loginHarrier(const UserCredentials& credentials)
{
    Json::Value request(Json::objectValue);
    request["email"] = toUtf8(credentials.email);
    request["senha"] = toUtf8(credentials.password);
    request["urlAcesso"] = toUtf8(credentials.organizationSubdomain);

    Json::Value reply;
    std::wstring mark;
    std::int64_t freshness = 0;
    const auto outcome = valmora::net::postDocument(harrierUrl(L"/api/manager/usuarios/login/usrsenha"),
                                                    request, reply, mark, freshness);
    if (outcome.offline) {
        LoginResult result;
        result.message = "harrier offline";
        result.status = 1;
        return result;
    }
    return readLoginAnswer(reply, outcome.httpStatus);
}

LoginResult readLoginAnswer(const Json::Value& reply, int httpStatus)
{
    LoginResult result;
    if (isSuccessStatus(httpStatus)) {
        auto installation = std::make_shared<HarrierInstallation>();
        installation->userId = json::wideMember(reply, "id");
        installation->userName = json::wideMember(reply, "nome");
        installation->organizationId = json::wideMember(reply, "organizacaoId");
        installation->organizationName = json::wideMember(reply, "nomeOrganizacao");
        installation->wallet = std::make_shared<Wallet>();
        result.token = json::wideMember(reply, "token");
        result.installation = std::move(installation);
        return result;
    }
    const Json::Value& message = json::member(reply, "message");
    result.message = message.isString() ? message.asString()
                                         : "harrier respondeu com status " + std::to_string(httpStatus);
    return result;
}

HarrierOperationResult registerHarrierDesktop(HarrierInstallation& installation, const std::wstring& token,
                                              const std::wstring& keyName, const DesktopInfo& info)
{
    const std::wstring url = harrierUrl(L"/api/manager/orvane/usuario/" + installation.userId + L"/organizacao/"
                                        + installation.organizationId);
    valmora::signer::SystemRepository repository;
    const std::string publicKey =
        valmora::signer::Certificate::publicKeyPem(repository.publicKeyOfNamedKey(keyName));

    Json::Value request(Json::objectValue);
    request["chavePublica"] = publicKey;
    request["dominioRede"] = toUtf8(info.domainName);
    request["nomeDesktop"] = toUtf8(info.installationName);
    request["nomeUsuarioLocal"] = toUtf8(info.userName);
    request["sistemaOperacional"] = toUtf8(info.operatingSystem);

    // This one call writes no blank after "Bearer": the service has always
    // taken it so.
    Json::Value reply;
    std::wstring mark;
    std::int64_t freshness = 0;
    const auto outcome =
        valmora::net::postAuthorizedDocument(url, L"Bearer" + token, request, reply, mark, freshness);
    printAnswer(std::cerr, reply);
    return readDesktopRegistrationAnswer(installation, reply, outcome, harrierBaseUrl());
}

HarrierOperationResult readDesktopRegistrationAnswer(HarrierInstallation& installation, const Json::Value& reply,
                                                     const valmora::net::DocumentOutcome& outcome,
                                                     const std::wstring& baseUrl)
{
    if (outcome.offline || !isSuccessStatus(outcome.httpStatus))
        return {json::narrowMember(reply, "message"), outcome.offline ? 1 : 0};
    installation.desktopCode = json::wideMember(reply, "codigoDesktop");
    installation.targetUrl = baseUrl;
    return {};
}

HarrierRegistrationResult registerAtHarrier(const UserCredentials& credentials, const std::wstring& keyName,
                                            const DesktopInfo& info)
{
    LoginResult login = loginHarrier(credentials);
    if (login.status != 0 || !login.message.empty() || !login.installation)
        return {nullptr, login.message, login.status};
    const HarrierOperationResult registration =
        registerHarrierDesktop(*login.installation, login.token, keyName, info);
    if (registration.status != 0 || !registration.message.empty())
        return {nullptr, registration.message, registration.status};
    return {login.installation, {}, 0};
}

HarrierOperationResult refreshAuthorizationMode(HarrierInstallation& installation, Clock& clock)
{
    Json::Value reply;
    std::wstring mark;
    const auto outcome =
        valmora::net::postBearerSigned(harrierUrl(desktopPath(installation, L"/statusCelular")),
                                       signingKeyName(installation), momentoRequest(clock), reply, mark);
    printAnswer(std::cerr, reply);
    return readAuthorizationModeAnswer(installation, reply, outcome);
}

HarrierOperationResult readAuthorizationModeAnswer(HarrierInstallation& installation, const Json::Value& reply,
                                                   const valmora::net::DocumentOutcome& outcome)
{
    if (!outcome.offline && isSuccessStatus(outcome.httpStatus)) {
        // The service says whether the account could take pushes, but this
        // agent offers local authorisation only.
        (void)json::member(reply, "usuarioPossuiCodigoPush");
        installation.authorizationMode = L"local";
        return {};
    }
    return {json::narrowMember(reply, "message"), outcome.offline ? 1 : 0};
}

CertificateListResult listWallet(HarrierInstallation& installation, Clock& clock)
{
    std::wstring mark = installation.wallet ? installation.wallet->lastModified : std::wstring();
    Json::Value reply;
    const auto outcome =
        valmora::net::postBearerSigned(harrierUrl(desktopPath(installation, L"/carteira")),
                                       signingKeyName(installation), momentoRequest(clock), reply, mark);
    CertificateListResult result;
    if (outcome.offline) {
        result.message = kOffline;
        result.status = 1;
        return result;
    }
    if (outcome.httpStatus == 304) {
        result.changed = CertificateListResult::NotModified;
        return result;
    }
    if (outcome.httpStatus != 200) {
        result.message = walletFailure(outcome.httpStatus, reply);
        return result;
    }

    printAnswer(std::cout, reply);
    const Json::Value& certificates = json::member(reply, "certificados");
    if (!certificates.isArray()) {
        result.message = "Impossível interpretar resposta do servidor";
        return result;
    }
    const KeyIdMap keyIds =
        installation.wallet ? keyIdMap(installation.wallet->allKeyReferences()) : KeyIdMap();
    std::shared_ptr<Wallet> wallet = Wallet::fromJson(certificates);
    installation.wallet = wallet;
    wallet->lastModified = mark;
    wallet->setInstallation(&installation);
    const std::vector<KeyReference*> references = wallet->allKeyReferences();
    restoreKeyIds(references, keyIds);
    for (KeyReference* reference : references)
        reference->ensureKeyId();
    result.changed = CertificateListResult::NewList;
    return result;
}

HarrierOperationResult invalidateWallet(HarrierInstallation& installation, Clock& clock)
{
    Json::Value reply;
    std::wstring mark;
    const auto outcome =
        valmora::net::postBearerSigned(harrierUrl(desktopPath(installation, L"/carteira/invalida")),
                                       signingKeyName(installation), momentoRequest(clock), reply, mark);
    if (outcome.offline)
        return {kOffline, 1};
    if (!isSuccessStatus(outcome.httpStatus))
        return {walletFailure(outcome.httpStatus, reply), 0};
    printAnswer(std::cout, reply);
    return {};
}

} // namespace orvane::model
