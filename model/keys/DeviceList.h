#pragma once

#include "model/keys/Device.h"

#include <pugixml.hpp>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orvane::model {

class Orvane;

// The phones of one Kestrel installation, with the service's mark for the
// next conditional listing.
struct DeviceList {
    std::wstring lastModified;
    std::vector<std::shared_ptr<Device>> devices;
    Orvane* owner = nullptr;

    // A <Devices> element; `dirty` as for Device::read.
    static DeviceList read(const pugi::xml_node& node, bool& dirty);
    // Appends a <Devices> element to `parent`.
    void write(pugi::xml_node& parent) const;

    // Sets the aggregate on the list, every device and every key reference.
    void setOwner(Orvane* aggregate);
    // Pointers into the devices' references, valid until a listing replaces
    // them.
    std::vector<KeyReference*> allKeyReferences() const;
};

// Device code to local name, to carry the user's names across a listing.
std::map<std::wstring, std::wstring> localNameMap(const DeviceList& list);

} // namespace orvane::model
