#include "model/identity/Orvane.h"

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/identity/DesktopInfoXml.h"
#include "model/identity/IdentityDocument.h"
#include "model/kestrel/KestrelEnrolment.h"
#include "model/identity/XmlNodes.h"
#include "config/ApplicationPaths.h"
#include "config/AtomicFile.h"
#include "config/ServiceUrls.h"

#include <filesystem>

namespace orvane::model {

std::unique_ptr<Orvane> Orvane::read(bool& dirty)
{
    return read(dirty, serviceHierarchyRefresh());
}

std::unique_ptr<Orvane> Orvane::read(bool& dirty, const HierarchyRefresh& refreshActive)
{
    pugi::xml_document document;
    loadIdentityDocument(document, identityFilePath());
    return fromDocument(document, dirty, refreshActive);
}

std::unique_ptr<Orvane> Orvane::fromDocument(const pugi::xml_document& document, bool& dirty,
                                             const HierarchyRefresh& refreshActive)
{
    const pugi::xml_node root = document.child("Orvane");

    auto aggregate = std::make_unique<Orvane>();
    aggregate->privateKeyReference = xml::childText(root, "PrivateKeyReference");
    aggregate->desktopInfo = readDesktopInfo(root.child("DesktopInfo"));

    // Only the installation for the configured address is refreshed; the
    // others keep the catalogue they have.
    KestrelInstallation::AfterHierarchies afterHierarchies;
    std::wstring activeUrl;
    if (refreshActive) {
        activeUrl = kestrelBaseUrl();
        afterHierarchies = [&](KestrelInstallation& installation, bool& changed) {
            if (installation.targetUrl == activeUrl)
                refreshActive(installation, changed);
        };
    }
    for (const pugi::xml_node& node : root.child("KestrelInstallations").children("KestrelInstallation"))
        aggregate->kestrelInstallations.push_back(KestrelInstallation::read(node, dirty, afterHierarchies));
    for (const pugi::xml_node& node : root.child("HarrierInstallations").children("HarrierInstallation"))
        aggregate->allHarrierInstallations.push_back(HarrierInstallation::read(node));

    aggregate->setOwners();
    return aggregate;
}

std::unique_ptr<Orvane> Orvane::load()
{
    return load(serviceHierarchyRefresh());
}

std::unique_ptr<Orvane> Orvane::load(const HierarchyRefresh& refreshActive)
{
    bool dirty = false;
    std::unique_ptr<Orvane> aggregate = read(dirty, refreshActive);
    if (dirty)
        aggregate->save();
    return aggregate;
}

Orvane::HierarchyRefresh Orvane::serviceHierarchyRefresh()
{
    // The catalogue's message is not shown at this point; the forms keep the
    // copy in the file when the fetch fails.
    return [](KestrelInstallation& installation, bool& changed) { listHierarchies(installation, changed); };
}

bool Orvane::hasInstallation()
{
    if (!identityFileExists())
        return false;
    const std::wstring url = kestrelBaseUrl();
    bool ignored = false;
    const std::unique_ptr<Orvane> aggregate = read(ignored);
    for (const KestrelInstallation& installation : aggregate->kestrelInstallations)
        if (installation.targetUrl == url)
            return true;
    return false;
}

std::string Orvane::documentText() const
{
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("Orvane");
    xml::appendTextElement(root, "PrivateKeyReference", privateKeyReference);
    writeDesktopInfo(root, desktopInfo);
    pugi::xml_node kestrel = root.append_child("KestrelInstallations");
    for (const KestrelInstallation& installation : kestrelInstallations)
        installation.write(kestrel);
    pugi::xml_node harrier = root.append_child("HarrierInstallations");
    for (const auto& installation : allHarrierInstallations) {
        const std::shared_ptr<HarrierInstallation> held = installation;
        held->write(harrier);
    }
    return identityDocumentText(document);
}

void Orvane::save() const
{
    // The file is replaced whole and at once; when that fails the previous
    // file stays as it was.
    writeFileAtomically(identityFilePath(), documentText());
}

KestrelInstallation& Orvane::kestrelInstallation()
{
    const std::wstring url = kestrelBaseUrl();
    for (KestrelInstallation& installation : kestrelInstallations)
        if (installation.targetUrl == url)
            return installation;
    throw ActiveInstallationNotFound("kestrel");
}

std::vector<HarrierInstallation*> Orvane::harrierInstallations()
{
    const std::wstring url = harrierBaseUrl();
    std::vector<HarrierInstallation*> active;
    for (const auto& installation : allHarrierInstallations)
        if (installation->targetUrl == url)
            active.push_back(installation.get());
    return active;
}

std::vector<KeyReference*> Orvane::certificates()
{
    std::vector<KeyReference*> references;
    try {
        references = kestrelInstallation().devices.allKeyReferences();
    } catch (const ActiveInstallationNotFound&) {
        // Nothing on the Kestrel side; the wallets still count.
    }
    for (HarrierInstallation* installation : harrierInstallations())
        if (installation->wallet)
            for (KeyReference* reference : installation->wallet->allKeyReferences())
                references.push_back(reference);
    return references;
}

const FutureVersion& Orvane::availableVersion()
{
    return kestrelInstallation().hierarchies.futureVersion;
}

void Orvane::clearCacheMarks()
{
    KestrelInstallation& kestrel = kestrelInstallation();
    kestrel.hierarchies.expires = 0;
    kestrel.hierarchies.lastModified.clear();
    kestrel.devices.lastModified.clear();
    for (HarrierInstallation* installation : harrierInstallations())
        if (installation->wallet)
            installation->wallet->lastModified.clear();
    save();
}

void Orvane::setOwners()
{
    for (KestrelInstallation& installation : kestrelInstallations)
        installation.setOwner(this);
    for (const auto& installation : allHarrierInstallations)
        installation->setOwner(this);
}

ProxySettings Orvane::loadProxySettings()
{
    return model::loadProxySettings();
}

void Orvane::saveProxySettings(const ProxySettings& settings)
{
    model::saveProxySettings(settings);
}

bool identityFileExists()
{
    return std::filesystem::exists(std::filesystem::path(identityFilePath()));
}

} // namespace orvane::model
