#include "model/kestrel/KestrelAuthorization.h"

#include "model/keys/Device.h"
#include "model/service/JsonFields.h"
#include "model/kestrel/KestrelCalls.h"
#include "model/service/ServiceExchange.h"
#include "config/TextCodec.h"

#include <algorithm>
#include <iostream>

namespace orvane::model {

namespace {

// These two texts go out as single ISO-8859-1 bytes for their accented
// letters: the screens that show them have always received them so.
const char* const kSearchFailedLatin1 = "Autentica\xE7\xE3o n\xE3o realizada. Erro HTTP ";
const char* const kMaintenanceFailedLatin1 = "Erro no retorno da autentica\xE7\xE3o. Erro HTTP ";
// The same first text in UTF-8, as the authorisation request writes it.
const char* const kRequestFailed = "Autenticação não realizada. Erro HTTP ";

valmora::net::DocumentOutcome postSigned(KestrelInstallation& installation, const std::wstring& path,
                                          const Json::Value& request, Json::Value& reply)
{
    std::wstring mark;
    return valmora::net::postSignedEnvelope(kestrelCallUrl(installation, path), signingKeyName(installation),
                                            request, reply, mark);
}

Json::Value identityRequest(const IdentityKey& identity)
{
    Json::Value request(Json::objectValue);
    request["identityCode"] = toUtf8(identity.identity);
    request["identityType"] = toUtf8(identity.hierarchyCode);
    return request;
}

bool answeredOk(const valmora::net::DocumentOutcome& outcome)
{
    return !outcome.offline && outcome.httpStatus == 200;
}

} // namespace

DeviceSearchResult searchDevices(KestrelInstallation& installation, const IdentityKey& identity)
{
    Json::Value reply;
    const auto outcome = postSigned(installation, L"/requestAuthorization/", identityRequest(identity), reply);

    DeviceSearchResult result;
    if (outcome.offline) {
        result.status = 1;
        return result;
    }
    if (outcome.httpStatus != 200) {
        result.message = kSearchFailedLatin1 + std::to_string(outcome.httpStatus);
        result.status = 1;
        return result;
    }
    return readDeviceSearchAnswer(reply);
}

DeviceSearchResult readDeviceSearchAnswer(const Json::Value& reply)
{
    DeviceSearchResult result;
    if (json::narrowMember(reply, "status") == "false") {
        result.message = json::narrowMember(reply, "message");
        return result;
    }
    const Json::Value& devices = json::member(reply, "devices");
    if (devices.isArray()) {
        for (const Json::Value& device : devices) {
            DeviceEntry entry;
            entry.deviceName = json::wideMember(device, "deviceName");
            entry.deviceCode = json::wideMember(device, "deviceCode");
            const Json::Value& exists = json::member(device, "alreadyExist");
            entry.alreadyExist = exists.isBool() && exists.asBool();
            result.devices.push_back(std::move(entry));
        }
    }
    return result;
}

DeviceAuthorizationsResult requestAuthorizations(KestrelInstallation& installation, const IdentityKey& identity,
                                                 const std::vector<DeviceEntry>& devices,
                                                 const std::string& letter)
{
    DeviceAuthorizationsResult result;
    for (const DeviceEntry& entry : devices) {
        Json::Value request = identityRequest(identity);
        request["devices"] = Json::Value(Json::arrayValue);
        request["devices"].append(toUtf8(entry.deviceCode));
        request["tipooperacao"] = letter;

        Json::Value reply;
        const auto outcome = postSigned(installation, L"/requestAuthorization/", request, reply);
        if (outcome.offline)
            return {{}, {}, 1};
        if (outcome.httpStatus != 200)
            return {{}, kRequestFailed + std::to_string(outcome.httpStatus), 1};
        std::optional<std::string> code = readAuthorizationRequestAnswer(reply);
        if (!code)
            continue;
        DeviceAuthorization authorization;
        authorization.desktopRequestCode = std::move(*code);
        authorization.deviceName = entry.deviceName;
        result.authorizations.push_back(std::move(authorization));
    }
    return result;
}

std::optional<std::string> readAuthorizationRequestAnswer(const Json::Value& reply)
{
    if (json::narrowMember(reply, "status") != "true")
        return std::nullopt;
    return json::narrowMember(reply, "desktopRequestCode");
}

AuthorizationPoll isAuthorized(KestrelInstallation& installation, DeviceAuthorization& authorization)
{
    Json::Value request(Json::objectValue);
    request["desktopRequestCode"] = authorization.desktopRequestCode;
    Json::Value reply;
    const auto outcome = postSigned(installation, L"/isAuthorized/", request, reply);
    if (!answeredOk(outcome))
        return {false, 1};

    const std::optional<bool> answer = readIsAuthorizedAnswer(reply);
    if (!answer) {
        // Not answered yet; the empty value is shown for whoever watches.
        std::cout << jsonText(Json::Value()) << std::endl;
        return {false, 0};
    }
    authorization.answered = *answer;
    return {authorization.answered, 0};
}

std::optional<bool> readIsAuthorizedAnswer(const Json::Value& reply)
{
    const Json::Value& answer = json::member(reply, "isAuthorized");
    if (answer.isNull())
        return std::nullopt;
    return answer.asBool();
}

DeviceAuthorizationsResult authorizeDevices(KestrelInstallation& installation, const IdentityKey& identity,
                                            const std::vector<DeviceEntry>& devices, const std::string& letter,
                                            const std::function<bool()>& isCancelled,
                                            const std::function<void(const std::wstring&)>& onAnswer,
                                            Clock& clock)
{
    DeviceAuthorizationsResult result = requestAuthorizations(installation, identity, devices, letter);
    if (result.status == 1 || !result.message.empty())
        return result;

    // Each phone that was asked gets a minute of the person's time.
    const std::int64_t deadline =
        clock.nowSeconds() + 60 * static_cast<std::int64_t>(result.authorizations.size());
    std::size_t answers = 0;
    int wait = 6;
    for (;;) {
        clock.sleepSeconds(wait);
        for (DeviceAuthorization& authorization : result.authorizations) {
            if (authorization.answered)
                continue;
            const AuthorizationPoll poll = isAuthorized(installation, authorization);
            if (poll.status == 1) {
                result.status = 1;
                return result;
            }
            if (poll.authorized) {
                ++answers;
                onAnswer(authorization.deviceName);
            }
        }
        if (wait >= 2)
            --wait;
        if (isCancelled())
            break;
        if (clock.nowSeconds() > deadline)
            break;
        if (answers >= result.authorizations.size())
            break;
    }
    return result;
}

MaintenanceResult maintainDevices(KestrelInstallation& installation, const IdentityKey& identity,
                                  const std::string& desktopRequestCode, const std::vector<DeviceEntry>& devices)
{
    Json::Value request = identityRequest(identity);
    request["desktopRequestCode"] = desktopRequestCode;
    request["devices"] = Json::Value(Json::arrayValue);
    for (const DeviceEntry& entry : devices)
        request["devices"].append(toUtf8(entry.deviceCode));

    Json::Value reply;
    const auto outcome = postSigned(installation, L"/maintenanceDevices/", request, reply);
    if (outcome.offline)
        return {false, {}, 1};
    if (outcome.httpStatus != 200)
        return {false, kMaintenanceFailedLatin1 + std::to_string(outcome.httpStatus), 0};
    return readMaintenanceAnswer(reply);
}

MaintenanceResult readMaintenanceAnswer(const Json::Value& reply)
{
    std::string message = json::narrowMember(reply, "message");
    if (json::narrowMember(reply, "status") == "true")
        return {true, {}, 0};
    return {false, std::move(message), 0};
}

std::int32_t cancelAuthorization(KestrelInstallation& installation, Device& device)
{
    const std::wstring code = device.hash;
    Json::Value request(Json::objectValue);
    request["deviceCode"] = toUtf8(code);
    Json::Value reply;
    const auto outcome = postSigned(installation, L"/cancelAuthorization/", request, reply);
    if (!answeredOk(outcome))
        return 1;
    if (readCancelAnswer(reply)) {
        auto& list = installation.devices.devices;
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [&](const std::shared_ptr<Device>& each) { return each->hash == code; }),
                   list.end());
        installation.devices.lastModified.clear();
    }
    return 0;
}

bool readCancelAnswer(const Json::Value& reply)
{
    return json::narrowMember(reply, "status") == "true";
}

} // namespace orvane::model
