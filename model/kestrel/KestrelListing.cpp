#include "model/kestrel/KestrelListing.h"

#include "model/keys/Device.h"
#include "model/kestrel/KestrelCalls.h"
#include "model/kestrel/KestrelEnrolment.h"
#include "model/service/ServiceExchange.h"

#include "signer/Encoding.h"

#include <iostream>
#include <utility>
#include <vector>

namespace orvane::model {

namespace {

// A fresh value for every listing; the service only wants it to differ.
std::string listingHash(Clock& clock)
{
    const std::string now = millisecondsText(clock);
    return valmora::signer::base64Encode(
        valmora::signer::digest(valmora::signer::Bytes(now.begin(), now.end()), "SHA256"));
}

std::vector<KeyReference*> referencesOf(const std::vector<std::shared_ptr<Device>>& devices)
{
    std::vector<KeyReference*> references;
    for (const auto& device : devices)
        for (KeyReference& reference : device->keyReferences)
            references.push_back(&reference);
    return references;
}

} // namespace

CertificateListResult listCertificates(KestrelInstallation& installation, Clock& clock)
{
    Json::Value request(Json::objectValue);
    request["hash"] = listingHash(clock);

    std::wstring mark = installation.devices.lastModified;
    Json::Value reply;
    const valmora::net::DocumentOutcome outcome = valmora::net::postSignedEnvelope(
        kestrelCallUrl(installation, L"/listCertificates/"), signingKeyName(installation), request, reply, mark);

    CertificateListResult result;
    if (!outcome.offline && outcome.httpStatus == 304) {
        result.changed = CertificateListResult::NotModified;
        return result;
    }
    if (outcome.offline || outcome.httpStatus != 200) {
        result.message = "Certificados nao obtidos. Erro HTTP " + std::to_string(outcome.httpStatus);
        result.status = 1;
        return result;
    }

    printAnswer(std::cout, reply);
    // The new list is built whole before it replaces the old one, so a bad
    // certificate leaves the old list in place.
    std::vector<std::shared_ptr<Device>> devices;
    if (reply.isArray())
        for (const Json::Value& element : reply)
            devices.push_back(Device::fromJson(element));

    const KeyIdMap keyIds = keyIdMap(installation.devices.allKeyReferences());
    const auto localNames = localNameMap(installation.devices);
    installation.devices.devices = std::move(devices);
    for (const auto& device : installation.devices.devices) {
        device->applyDefaultNames();
        const auto name = localNames.find(device->hash);
        if (name != localNames.end() && !name->second.empty())
            device->localName = name->second;
    }
    const std::vector<KeyReference*> references = referencesOf(installation.devices.devices);
    restoreKeyIds(references, keyIds);
    for (KeyReference* reference : references)
        reference->ensureKeyId();
    installation.devices.setOwner(installation.owner);

    uniqueDeviceNames(installation);
    installation.devices.lastModified = mark;

    bool catalogueChanged = false;
    const HierarchyRefreshResult catalogue = listHierarchies(installation, catalogueChanged, clock);
    if (catalogue.status == 1) {
        result.status = 1;
        return result;
    }
    if (!catalogue.message.empty()) {
        result.message = catalogue.message;
        result.status = catalogue.status;
        return result;
    }
    result.changed = CertificateListResult::NewList;
    return result;
}

void uniqueDeviceNames(KestrelInstallation& installation)
{
    std::vector<std::pair<std::wstring, int>> counters;
    for (const auto& device : installation.devices.devices) {
        device->applyDefaultNames();
        auto counter = counters.begin();
        while (counter != counters.end() && counter->first != device->localName)
            ++counter;
        if (counter == counters.end()) {
            counters.emplace_back(device->localName, 1);
            continue;
        }
        ++counter->second;
        device->localName = counter->first + L" - " + std::to_wstring(counter->second);
    }
}

bool renameKestrelDevice(KestrelInstallation& installation, const Device& device, const std::wstring& newName,
                         bool& changed)
{
    for (const auto& each : installation.devices.devices)
        if (each->localName == newName)
            return false;
    for (const auto& each : installation.devices.devices) {
        if (each->hash == device.hash) {
            each->localName = newName;
            break;
        }
    }
    changed = true;
    return true;
}

} // namespace orvane::model
