#pragma once

#include "model/keys/DeviceList.h"
#include "model/catalogue/HierarchyCatalogue.h"

#include <pugixml.hpp>

#include <functional>
#include <string>

namespace orvane::model {

class Orvane;

// This computer's enrolment at one Kestrel service address. A plain value
// held in the aggregate's vector; its back-pointers point to the aggregate,
// so they stay valid when the record is copied into place.
struct KestrelInstallation {
    // kestrelBaseUrl() at the time of enrolment: the installation is active
    // while the configuration names the same address.
    std::wstring targetUrl;
    // The service's code for this computer; path parameter of later calls.
    std::wstring installationCode;
    HierarchyCatalogue hierarchies;
    DeviceList devices;
    Orvane* owner = nullptr;

    // Runs between the catalogue and the devices while a record is read;
    // the reader decides whether the record is the active one.
    using AfterHierarchies = std::function<void(KestrelInstallation&, bool& dirty)>;

    // A <KestrelInstallation> element; `dirty` is set when a repaired key
    // identifier must reach the file.
    static KestrelInstallation read(const pugi::xml_node& node, bool& dirty,
                                    const AfterHierarchies& afterHierarchies = {});
    // Appends a <KestrelInstallation> element to `parent`.
    void write(pugi::xml_node& parent) const;

    // Sets the aggregate on this record and everything below it.
    void setOwner(Orvane* aggregate);
};

} // namespace orvane::model
