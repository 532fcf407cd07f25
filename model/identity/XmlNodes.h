#pragma once

#include <pugixml.hpp>

#include <string>

namespace orvane::model::xml {

// The identity document is UTF-8 on disk and wide text in memory; pugixml is
// used through its narrow interface and these helpers convert at the edges.
// An absent element or attribute reads as the empty string.
std::wstring childText(const pugi::xml_node& node, const char* name);
std::wstring attributeText(const pugi::xml_node& node, const char* name);

// Appends <name>text</name>; an empty text still gives the element.
pugi::xml_node appendTextElement(pugi::xml_node& parent, const char* name, const std::wstring& text);
void appendAttribute(pugi::xml_node& node, const char* name, const std::wstring& value);

} // namespace orvane::model::xml
