#include "model/harrier/HarrierInstallation.h"

#include "model/identity/XmlNodes.h"

namespace orvane::model {

std::shared_ptr<HarrierInstallation> HarrierInstallation::read(const pugi::xml_node& node)
{
    auto installation = std::make_shared<HarrierInstallation>();
    installation->targetUrl = xml::attributeText(node, "TargetUrl");
    installation->userId = xml::childText(node, "UserID");
    installation->userName = xml::childText(node, "UserName");
    installation->organizationId = xml::childText(node, "OrganizationID");
    installation->organizationName = xml::childText(node, "OrganizationName");
    installation->desktopCode = xml::childText(node, "DesktopCode");
    installation->authorizationMode = xml::childText(node, "AuthorizationMode");
    installation->wallet = Wallet::read(node.child("Wallet"));
    return installation;
}

void HarrierInstallation::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("HarrierInstallation");
    xml::appendAttribute(node, "TargetUrl", targetUrl);
    xml::appendTextElement(node, "UserID", userId);
    xml::appendTextElement(node, "UserName", userName);
    xml::appendTextElement(node, "OrganizationID", organizationId);
    xml::appendTextElement(node, "OrganizationName", organizationName);
    xml::appendTextElement(node, "DesktopCode", desktopCode);
    xml::appendTextElement(node, "AuthorizationMode", authorizationMode);
    if (wallet) {
        wallet->write(node);
    } else {
        // A record built without a wallet still writes one, so the file
        // always reads back.
        Wallet empty;
        empty.write(node);
    }
}

void HarrierInstallation::setOwner(Orvane* aggregate)
{
    owner = aggregate;
    if (wallet)
        wallet->setInstallation(this);
}

bool HarrierInstallation::operator==(const HarrierInstallation& other) const
{
    return targetUrl == other.targetUrl && userId == other.userId && organizationId == other.organizationId;
}

} // namespace orvane::model
