#include "model/kestrel/KestrelInstallation.h"

#include "model/identity/XmlNodes.h"

namespace orvane::model {

KestrelInstallation KestrelInstallation::read(const pugi::xml_node& node, bool& dirty,
                                              const AfterHierarchies& afterHierarchies)
{
    KestrelInstallation installation;
    installation.targetUrl = xml::attributeText(node, "TargetUrl");
    installation.installationCode = xml::childText(node, "InstallationCode");
    installation.hierarchies = HierarchyCatalogue::read(node.child("Hierarchies"));
    if (afterHierarchies)
        afterHierarchies(installation, dirty);
    installation.devices = DeviceList::read(node.child("Devices"), dirty);
    return installation;
}

void KestrelInstallation::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("KestrelInstallation");
    xml::appendAttribute(node, "TargetUrl", targetUrl);
    xml::appendTextElement(node, "InstallationCode", installationCode);
    hierarchies.write(node);
    devices.write(node);
}

void KestrelInstallation::setOwner(Orvane* aggregate)
{
    owner = aggregate;
    devices.setOwner(aggregate);
}

} // namespace orvane::model
