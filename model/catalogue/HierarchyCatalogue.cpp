#include "model/catalogue/HierarchyCatalogue.h"

#include "model/service/JsonFields.h"
#include "model/identity/XmlNodes.h"

namespace orvane::model {

HierarchyCatalogue HierarchyCatalogue::fromJson(const Json::Value& value)
{
    HierarchyCatalogue catalogue;
    const Json::Value& hierarchies = json::member(value, "hierarchies");
    if (hierarchies.isArray())
        for (const Json::Value& hierarchy : hierarchies)
            catalogue.hierarchies.push_back(Hierarchy::fromJson(hierarchy));
    catalogue.futureVersion = FutureVersion::fromJson(json::member(value, "futureVersion"));
    return catalogue;
}

HierarchyCatalogue HierarchyCatalogue::read(const pugi::xml_node& node)
{
    HierarchyCatalogue catalogue;
    catalogue.lastModified = xml::attributeText(node, "LastModified");
    catalogue.expires = node.attribute("Expires").as_llong(0);
    for (const pugi::xml_node& hierarchy : node.children("Hierarchy"))
        catalogue.hierarchies.push_back(Hierarchy::read(hierarchy));
    if (pugi::xml_node future = node.child("FutureVersion"))
        catalogue.futureVersion = FutureVersion::read(future);
    return catalogue;
}

void HierarchyCatalogue::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("Hierarchies");
    xml::appendAttribute(node, "LastModified", lastModified);
    node.append_attribute("Expires").set_value(static_cast<long long>(expires));
    for (const Hierarchy& hierarchy : hierarchies)
        hierarchy.write(node);
    futureVersion.write(node);
}

bool HierarchyCatalogue::operator==(const HierarchyCatalogue& other) const
{
    return lastModified == other.lastModified && expires == other.expires
        && hierarchies == other.hierarchies && futureVersion == other.futureVersion;
}

} // namespace orvane::model
