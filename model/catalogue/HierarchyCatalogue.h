#pragma once

#include "model/catalogue/FutureVersion.h"
#include "model/catalogue/Hierarchy.h"

#include <json/value.h>
#include <pugixml.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace orvane::model {

// The Kestrel service's list of hierarchies, kept in the identity so the
// forms work without a round trip, plus the recommended-version record that
// travels with it.
struct HierarchyCatalogue {
    // The service's mark, sent back on the next fetch; empty makes the next
    // fetch unconditional.
    std::wstring lastModified;
    // Seconds since the epoch until which this copy is fresh; 0 after a reset.
    std::int64_t expires = 0;
    std::vector<Hierarchy> hierarchies;
    FutureVersion futureVersion;

    // From the body of a catalogue reply. The two cache marks come from the
    // reply's headers and are left for the caller to set.
    static HierarchyCatalogue fromJson(const Json::Value& value);
    // From a <Hierarchies> element. A missing <FutureVersion> reads as empty.
    static HierarchyCatalogue read(const pugi::xml_node& node);
    // Appends a <Hierarchies> element to `parent`.
    void write(pugi::xml_node& parent) const;

    bool operator==(const HierarchyCatalogue& other) const;
    bool operator!=(const HierarchyCatalogue& other) const { return !(*this == other); }
};

} // namespace orvane::model
