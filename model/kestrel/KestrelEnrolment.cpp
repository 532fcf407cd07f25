#include "model/kestrel/KestrelEnrolment.h"

#include "model/service/JsonFields.h"
#include "model/service/ServiceExchange.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"

#include <iostream>

namespace orvane::model {

namespace {

// " Resposta: " and the member's text, when the answer has that member.
std::string answerPart(const Json::Value& reply, const char* name)
{
    if (!reply.isObject() || !reply.isMember(name))
        return {};
    return " Resposta: " + json::narrowMember(reply, name) + ".";
}

} // namespace

KestrelEnrolmentResult createKestrelInstallation(const DesktopInfo& info, const std::string& publicKeyPem,
                                                 Clock& clock)
{
    Json::Value request(Json::objectValue);
    request["domainName"] = toUtf8(info.domainName);
    request["installationName"] = toUtf8(info.installationName);
    request["operationalSystem"] = toUtf8(info.operatingSystem);
    request["publicKey"] = publicKeyPem;
    request["userName"] = toUtf8(info.userName);

    const std::wstring baseUrl = kestrelBaseUrl();
    Json::Value reply;
    std::wstring mark;
    std::int64_t freshness = 0;
    const valmora::net::DocumentOutcome outcome =
        valmora::net::postDocument(baseUrl + L"/create", request, reply, mark, freshness);

    KestrelEnrolmentResult result = readCreateAnswer(reply, outcome, baseUrl);
    if (result.installation) {
        // A catalogue that cannot be fetched now is fetched at the next load.
        bool ignored = false;
        listHierarchies(*result.installation, ignored, clock);
    }
    return result;
}

KestrelEnrolmentResult readCreateAnswer(const Json::Value& reply, const valmora::net::DocumentOutcome& outcome,
                                        const std::wstring& baseUrl)
{
    KestrelEnrolmentResult result;
    if (!outcome.offline && outcome.httpStatus == 200) {
        // Only the exact text "false" is a refusal.
        if (json::narrowMember(reply, "status") == "false") {
            result.message = json::narrowMember(reply, "message");
            return result;
        }
        KestrelInstallation installation;
        installation.targetUrl = baseUrl;
        installation.installationCode = json::wideMember(reply, "installationCode");
        result.installation = std::move(installation);
        return result;
    }

    result.message = "Problema ao criar uma nova instalação no servidor." + answerPart(reply, "mensagem")
        + answerPart(reply, "message") + " Erro HTTP: " + std::to_string(outcome.httpStatus);
    result.status = 1;
    return result;
}

HierarchyRefreshResult listHierarchies(KestrelInstallation& installation, bool& changed, Clock& clock)
{
    changed = false;
    const std::int64_t now = clock.nowSeconds();
    if (now < installation.hierarchies.expires)
        return {};

    std::wstring mark = installation.hierarchies.lastModified;
    std::int64_t freshness = 0;
    Json::Value reply;
    const valmora::net::DocumentOutcome outcome = valmora::net::postDocument(
        kestrelBaseUrl() + L"/listHierarchies", Json::Value(), reply, mark, freshness);

    if (!outcome.offline && outcome.httpStatus == 304) {
        installation.hierarchies.expires = now + freshness;
        changed = true;
        return {};
    }
    if (!outcome.offline && outcome.httpStatus == 200) {
        printAnswer(std::cout, reply);
        const Json::Value& status = json::member(reply, "status");
        if (status.isBool() && status.asBool()) {
            installation.hierarchies = HierarchyCatalogue::fromJson(reply);
            installation.hierarchies.lastModified = mark;
            installation.hierarchies.expires = now + freshness;
            changed = true;
            return {};
        }
        return {json::narrowMember(reply, "message"), 0};
    }
    return {"Hierarquias nao obtidas. Erro HTTP " + std::to_string(outcome.httpStatus), 1};
}

} // namespace orvane::model
