#pragma once

#include "model/catalogue/Field.h"
#include "model/catalogue/MaskedIdentity.h"

#include <json/value.h>
#include <pugixml.hpp>

#include <string>
#include <vector>

namespace orvane::model {

// One kind of document number by which the Kestrel service identifies a
// person. The position of a field is the position of the input it governs.
struct Hierarchy {
    std::wstring displayName;
    std::wstring code;
    std::vector<Field> fields;

    static Hierarchy fromJson(const Json::Value& value);
    static Hierarchy read(const pugi::xml_node& node);
    void write(pugi::xml_node& parent) const;

    // Fields and inputs are taken in step until either runs out; the first
    // field that rejects its input decides the result.
    MaskedIdentity applyMasks(const std::vector<std::wstring>& inputs) const;
    // Every field against the input at its position; fewer inputs than
    // fields is false, extra inputs are ignored.
    bool matchesValidators(const std::vector<std::wstring>& inputs) const;

    bool operator==(const Hierarchy& other) const;
    bool operator!=(const Hierarchy& other) const { return !(*this == other); }
};

} // namespace orvane::model
