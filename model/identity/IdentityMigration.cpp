#include "model/identity/IdentityMigration.h"

#include "model/identity/DesktopInfoXml.h"
#include "model/identity/IdentityDocument.h"
#include "model/identity/XmlNodes.h"
#include "config/ApplicationPaths.h"
#include "config/HostFacts.h"
#include "config/Properties.h"
#include "config/ServiceUrls.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace orvane::model {

namespace {

void migrateProxyFile()
{
    const fs::path current = proxyFilePath();
    const fs::path legacy = legacyProxyFilePath();
    if (fs::exists(current))
        fs::remove(current);
    if (fs::exists(legacy)) {
        fs::copy_file(legacy, current);
        // The proxy file may hold a password: owner-only, whatever the old
        // file's permissions were.
        fs::permissions(current, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::replace);
    }
}

void migrateConfiguration()
{
    Properties configuration = Properties::load(configFilePath());
    configuration.merge(Properties::load(legacyConfigFilePath()));
    configuration.save(configFilePath());
}

void migrateIdentity()
{
    pugi::xml_document old;
    loadIdentityDocument(old, legacyIdentityFilePath());
    pugi::xml_node installation = old.child("Installation");

    pugi::xml_document migrated;
    pugi::xml_node root = migrated.append_child("Orvane");
    root.append_child("PrivateKeyReference").text().set(installation.child("GUID").text().get());
    installation.remove_child("GUID");
    // The facts of the machine the migration runs on, not those of the file.
    writeDesktopInfo(root, hostFacts());
    pugi::xml_node kestrel = root.append_child("KestrelInstallations");

    // Everything else inside the old node already has the present form and is
    // carried over as it stands.
    installation.set_name("KestrelInstallation");
    xml::appendAttribute(installation, "TargetUrl", kestrelBaseUrl());
    for (pugi::xml_node device : installation.child("Devices").children("Device")) {
        const std::wstring oldName = xml::childText(device, "LocalName");
        device.remove_child("LocalName");
        xml::appendTextElement(device, "LocalName", L"kestrel no " + oldName);
    }
    kestrel.append_copy(installation);
    root.append_child("HarrierInstallations");

    saveIdentityDocument(migrated, identityFilePath());
}

} // namespace

bool migrationNeeded()
{
    const std::string legacy = legacyIdentityFilePath();
    if (!fs::exists(legacy) || !identityDocumentParses(legacy))
        return false;
    return !fs::exists(identityFilePath());
}

void migrateOldInstallation()
{
    migrateProxyFile();
    migrateConfiguration();
    migrateIdentity();
}

} // namespace orvane::model
