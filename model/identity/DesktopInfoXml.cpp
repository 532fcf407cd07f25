#include "model/identity/DesktopInfoXml.h"

#include "model/identity/XmlNodes.h"

namespace orvane::model {

DesktopInfo readDesktopInfo(const pugi::xml_node& node)
{
    DesktopInfo info;
    info.installationName = xml::childText(node, "InstallationName");
    info.operatingSystem = xml::childText(node, "OperatingSystem");
    info.userName = xml::childText(node, "UserName");
    info.domainName = xml::childText(node, "DomainName");
    return info;
}

void writeDesktopInfo(pugi::xml_node& parent, const DesktopInfo& info)
{
    pugi::xml_node node = parent.append_child("DesktopInfo");
    xml::appendTextElement(node, "InstallationName", info.installationName);
    xml::appendTextElement(node, "OperatingSystem", info.operatingSystem);
    xml::appendTextElement(node, "UserName", info.userName);
    xml::appendTextElement(node, "DomainName", info.domainName);
}

} // namespace orvane::model
