#include "model/keys/Wallet.h"

#include "model/identity/BaseException.h"
#include "model/harrier/HarrierInstallation.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/identity/XmlNodes.h"

namespace orvane::model {

std::shared_ptr<Wallet> Wallet::fromJson(const Json::Value& array)
{
    auto wallet = std::make_shared<Wallet>();
    if (array.isArray())
        for (const Json::Value& certificate : array)
            wallet->keyReferences.push_back(
                KeyReference::fromJson(certificate, wallet.get(), &HarrierSignatureStrategy::instance()));
    return wallet;
}

std::shared_ptr<Wallet> Wallet::read(const pugi::xml_node& node)
{
    auto wallet = std::make_shared<Wallet>();
    wallet->lastModified = xml::attributeText(node, "LastModified");
    // Unlike a phone's, a wallet key's identifier cannot be made up here: the
    // services and the provider know it already, so a missing one is fatal.
    bool incomplete = false;
    for (const pugi::xml_node& reference : node.child("KeyReferences").children("KeyReference"))
        wallet->keyReferences.push_back(
            KeyReference::read(reference, wallet.get(), &HarrierSignatureStrategy::instance(), incomplete));
    if (incomplete)
        throw BaseException("Key Reference node está com dados incompletos");
    return wallet;
}

void Wallet::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("Wallet");
    xml::appendAttribute(node, "LastModified", lastModified);
    pugi::xml_node references = node.append_child("KeyReferences");
    for (const KeyReference& reference : keyReferences)
        reference.write(references);
}

void Wallet::setInstallation(HarrierInstallation* owningInstallation)
{
    installation = owningInstallation;
    Orvane* aggregate = installation ? installation->owner : nullptr;
    for (KeyReference& reference : keyReferences)
        reference.owner = aggregate;
}

std::vector<KeyReference*> Wallet::allKeyReferences()
{
    std::vector<KeyReference*> references;
    references.reserve(keyReferences.size());
    for (KeyReference& reference : keyReferences)
        references.push_back(&reference);
    return references;
}

std::wstring Wallet::name() const
{
    const std::wstring user = installation ? installation->userName : std::wstring();
    const std::wstring organization = installation ? installation->organizationName : std::wstring();
    return L"harrier de " + user + L" (" + organization + L")";
}

std::wstring Wallet::installationCode() const
{
    return installation ? installation->desktopCode : std::wstring();
}

std::wstring Wallet::authenticationMode() const
{
    return installation ? installation->authorizationMode : std::wstring();
}

void Wallet::setAuthenticationMode(const std::wstring& mode)
{
    if (installation)
        installation->authorizationMode = mode;
}

std::int32_t Wallet::type() const
{
    return Cloud;
}

} // namespace orvane::model
