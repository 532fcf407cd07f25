#include "model/keys/Device.h"

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/service/JsonFields.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/identity/Orvane.h"
#include "model/identity/XmlNodes.h"

namespace orvane::model {

std::shared_ptr<Device> Device::fromJson(const Json::Value& value)
{
    auto device = std::make_shared<Device>();
    device->hash = json::wideMember(value, "deviceCode");
    device->fantasyName = json::wideMember(value, "deviceName");
    device->applyDefaultNames();
    const Json::Value& certificates = json::member(value, "certificates");
    if (certificates.isArray())
        for (const Json::Value& certificate : certificates)
            device->keyReferences.push_back(
                KeyReference::fromJson(certificate, device.get(), &KestrelSignatureStrategy::instance()));
    return device;
}

std::shared_ptr<Device> Device::read(const pugi::xml_node& node, bool& dirty)
{
    auto device = std::make_shared<Device>();
    device->hash = xml::childText(node, "Hash");
    device->fantasyName = xml::childText(node, "FantasyName");
    device->localName = xml::childText(node, "LocalName");
    // A hand-emptied name is refilled here and reaches the file at the next
    // save.
    device->applyDefaultNames();
    for (const pugi::xml_node& reference : node.child("KeyReferences").children("KeyReference"))
        device->keyReferences.push_back(
            KeyReference::read(reference, device.get(), &KestrelSignatureStrategy::instance(), dirty));
    return device;
}

void Device::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("Device");
    xml::appendTextElement(node, "Hash", hash);
    xml::appendTextElement(node, "FantasyName", fantasyName);
    xml::appendTextElement(node, "LocalName", localName);
    pugi::xml_node references = node.append_child("KeyReferences");
    for (const KeyReference& reference : keyReferences)
        reference.write(references);
}

void Device::applyDefaultNames()
{
    if (fantasyName.empty())
        fantasyName = hash.substr(0, 8);
    if (localName.empty())
        localName = L"kestrel no " + fantasyName;
}

std::vector<KeyReference*> Device::allKeyReferences()
{
    std::vector<KeyReference*> references;
    references.reserve(keyReferences.size());
    for (KeyReference& reference : keyReferences)
        references.push_back(&reference);
    return references;
}

void Device::setOwner(Orvane* aggregate)
{
    owner = aggregate;
    for (KeyReference& reference : keyReferences)
        reference.owner = aggregate;
}

std::wstring Device::name() const
{
    return localName;
}

std::wstring Device::installationCode() const
{
    if (!owner)
        throw ActiveInstallationNotFound("kestrel");
    return owner->kestrelInstallation().installationCode;
}

std::wstring Device::authenticationMode() const
{
    return L"kestrel";
}

void Device::setAuthenticationMode(const std::wstring&)
{
    // A phone always asks its owner; there is no mode to choose.
}

std::int32_t Device::type() const
{
    return Smartphone;
}

} // namespace orvane::model
