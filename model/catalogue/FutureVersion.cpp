#include "model/catalogue/FutureVersion.h"

#include "model/service/JsonFields.h"
#include "model/identity/XmlNodes.h"

namespace orvane::model {

FutureVersion FutureVersion::fromJson(const Json::Value& value)
{
    FutureVersion version;
    version.availableSince = json::wideMember(value, "availableSince");
    version.versionString = json::wideMember(value, "versionString");
    return version;
}

FutureVersion FutureVersion::read(const pugi::xml_node& node)
{
    FutureVersion version;
    version.availableSince = xml::childText(node, "AvailableSince");
    version.versionString = xml::childText(node, "VersionString");
    return version;
}

void FutureVersion::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("FutureVersion");
    xml::appendTextElement(node, "AvailableSince", availableSince);
    xml::appendTextElement(node, "VersionString", versionString);
}

bool FutureVersion::operator==(const FutureVersion& other) const
{
    return availableSince == other.availableSince && versionString == other.versionString;
}

} // namespace orvane::model
