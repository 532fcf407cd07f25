#include "model/keys/DeviceList.h"

#include "model/identity/XmlNodes.h"

namespace orvane::model {

DeviceList DeviceList::read(const pugi::xml_node& node, bool& dirty)
{
    DeviceList list;
    list.lastModified = xml::attributeText(node, "LastModified");
    for (const pugi::xml_node& device : node.children("Device"))
        list.devices.push_back(Device::read(device, dirty));
    return list;
}

void DeviceList::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("Devices");
    xml::appendAttribute(node, "LastModified", lastModified);
    for (const auto& device : devices)
        device->write(node);
}

void DeviceList::setOwner(Orvane* aggregate)
{
    owner = aggregate;
    for (const auto& device : devices)
        device->setOwner(aggregate);
}

std::vector<KeyReference*> DeviceList::allKeyReferences() const
{
    std::vector<KeyReference*> references;
    for (const auto& device : devices)
        for (KeyReference& reference : device->keyReferences)
            references.push_back(&reference);
    return references;
}

std::map<std::wstring, std::wstring> localNameMap(const DeviceList& list)
{
    std::map<std::wstring, std::wstring> names;
    for (const auto& device : list.devices)
        names.emplace(device->hash, device->localName);
    return names;
}

} // namespace orvane::model
