#pragma once

#include <json/value.h>
#include <pugixml.hpp>

#include <string>

namespace orvane::model {

// The version that the Kestrel service recommends, travelling with the
// hierarchy catalogue. Kept as received: nothing here parses or compares it.
struct FutureVersion {
    std::wstring availableSince;
    std::wstring versionString;

    // From the "futureVersion" object of a catalogue reply; anything that is
    // not such an object gives two empty strings.
    static FutureVersion fromJson(const Json::Value& value);
    // From a <FutureVersion> element.
    static FutureVersion read(const pugi::xml_node& node);
    // Appends a <FutureVersion> element to `parent`, even when both are empty.
    void write(pugi::xml_node& parent) const;

    bool operator==(const FutureVersion& other) const;
    bool operator!=(const FutureVersion& other) const { return !(*this == other); }
};

} // namespace orvane::model
