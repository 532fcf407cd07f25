#pragma once

#include "model/catalogue/MaskResult.h"

#include <json/value.h>
#include <pugixml.hpp>

#include <string>

namespace orvane::model {

// One input of a hierarchy: how it is shown while typed and what it must
// look like to be sent.
//
// Mask alphabet: "9" a digit, "a" a letter, "*" either, "?" the rest of the
// input unchecked; any other character is a literal of the display form,
// supplied when the user leaves it out and absorbed when typed.
struct Field {
    std::wstring mask;
    std::wstring regexValidator;

    static Field fromJson(const Json::Value& value);
    static Field read(const pugi::xml_node& node);
    void write(pugi::xml_node& parent) const;

    // Bad input is data, not an error: the message comes back in `text`.
    MaskResult applyMask(const std::wstring& input) const;
    // Whether the whole input matches `regexValidator` (ECMAScript). The
    // expression is compiled on each call; an invalid one raises
    // std::regex_error. An input longer than any document number, or one
    // that would take the matcher too much work, does not match.
    bool matches(const std::wstring& input) const;

    bool operator==(const Field& other) const;
    bool operator!=(const Field& other) const { return !(*this == other); }
};

} // namespace orvane::model
