#include "model/identity/XmlNodes.h"

namespace orvane::model::xml {

std::wstring childText(const pugi::xml_node& node, const char* name)
{
    return pugi::as_wide(node.child(name).text().get());
}

std::wstring attributeText(const pugi::xml_node& node, const char* name)
{
    return pugi::as_wide(node.attribute(name).value());
}

pugi::xml_node appendTextElement(pugi::xml_node& parent, const char* name, const std::wstring& text)
{
    pugi::xml_node element = parent.append_child(name);
    element.text().set(pugi::as_utf8(text).c_str());
    return element;
}

void appendAttribute(pugi::xml_node& node, const char* name, const std::wstring& value)
{
    node.append_attribute(name).set_value(pugi::as_utf8(value).c_str());
}

} // namespace orvane::model::xml
