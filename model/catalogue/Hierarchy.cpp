#include "model/catalogue/Hierarchy.h"

#include "model/service/JsonFields.h"
#include "model/identity/XmlNodes.h"

#include <algorithm>

namespace orvane::model {

Hierarchy Hierarchy::fromJson(const Json::Value& value)
{
    Hierarchy hierarchy;
    hierarchy.displayName = json::wideMember(value, "displayName");
    hierarchy.code = json::wideMember(value, "code");
    const Json::Value& fields = json::member(value, "fields");
    if (fields.isArray())
        for (const Json::Value& field : fields)
            hierarchy.fields.push_back(Field::fromJson(field));
    return hierarchy;
}

Hierarchy Hierarchy::read(const pugi::xml_node& node)
{
    Hierarchy hierarchy;
    hierarchy.displayName = xml::childText(node, "DisplayName");
    hierarchy.code = xml::childText(node, "Code");
    for (const pugi::xml_node& field : node.child("Fields").children("Field"))
        hierarchy.fields.push_back(Field::read(field));
    return hierarchy;
}

void Hierarchy::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("Hierarchy");
    xml::appendTextElement(node, "DisplayName", displayName);
    xml::appendTextElement(node, "Code", code);
    pugi::xml_node fieldsNode = node.append_child("Fields");
    for (const Field& field : fields)
        field.write(fieldsNode);
}

MaskedIdentity Hierarchy::applyMasks(const std::vector<std::wstring>& inputs) const
{
    MaskedIdentity result;
    std::vector<std::wstring> shown;
    const std::size_t count = std::min(fields.size(), inputs.size());
    for (std::size_t k = 0; k < count; ++k) {
        MaskResult masked = fields[k].applyMask(inputs[k]);
        if (!masked.accepted) {
            result.accepted = false;
            result.parts.clear();
            result.text = masked.text;
            return result;
        }
        shown.push_back(std::move(masked.text));
        result.parts.push_back(std::move(masked.stripped));
    }
    for (std::size_t k = 0; k < shown.size(); ++k) {
        if (k > 0)
            result.text += L'-';
        result.text += shown[k];
    }
    return result;
}

bool Hierarchy::matchesValidators(const std::vector<std::wstring>& inputs) const
{
    if (inputs.size() < fields.size())
        return false;
    bool all = true;
    // No early exit: every field's expression is compiled and tried, so an
    // invalid one always surfaces.
    for (std::size_t k = 0; k < fields.size(); ++k)
        all = fields[k].matches(inputs[k]) && all;
    return all;
}

bool Hierarchy::operator==(const Hierarchy& other) const
{
    return displayName == other.displayName && code == other.code && fields == other.fields;
}

} // namespace orvane::model
