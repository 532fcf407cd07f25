#pragma once

#include "model/service/Clock.h"
#include "model/identity/CreateInstallationResult.h"
#include "model/catalogue/FutureVersion.h"
#include "model/harrier/HarrierInstallation.h"
#include "model/kestrel/KestrelInstallation.h"
#include "model/keys/KeyReference.h"
#include "model/identity/OperationResult.h"
#include "model/harrier/UserCredentials.h"
#include "config/DesktopInfo.h"
#include "config/ProxySettings.h"

#include <pugixml.hpp>

#include <memory>
#include <string>
#include <vector>

namespace orvane::model {

// The identity in memory: this computer's key pair, what it told the
// services about itself, and its installations at the two services. An
// installation is active while its address equals the one the configuration
// names now, so changing the configuration changes which installations are
// in force without touching the identity file.
//
// Everything below the aggregate points back to it, so it is built on the
// heap by its factories and never copied or moved.
class Orvane {
public:
    // What runs for a Kestrel installation while it is being read, between
    // its catalogue and its devices, when it is the active one.
    using HierarchyRefresh = KestrelInstallation::AfterHierarchies;

    Orvane() = default;
    Orvane(const Orvane&) = delete;
    Orvane& operator=(const Orvane&) = delete;

    // Reads identityFilePath(). `dirty` is set when the file must be written
    // back (a phone's key got a new identifier). Throws BaseException
    // "Erro ao carregar arquivo de configuração: ..." for an unreadable or
    // malformed file, and passes a wallet's or a certificate's failure on.
    static std::unique_ptr<Orvane> read(bool& dirty);
    // The same with the refresh of the active installation's catalogue given.
    static std::unique_ptr<Orvane> read(bool& dirty, const HierarchyRefresh& refreshActive);
    // What read() makes of the parsed document; no refresh when it is empty.
    static std::unique_ptr<Orvane> fromDocument(const pugi::xml_document& document, bool& dirty,
                                                const HierarchyRefresh& refreshActive);
    // Reads and, when the reader asks for it, writes back at once.
    static std::unique_ptr<Orvane> load();
    static std::unique_ptr<Orvane> load(const HierarchyRefresh& refreshActive);

    // The refresh that read() and load() use: the catalogue call to the
    // Kestrel service, whose failure leaves the catalogue in the file as it
    // stands.
    static HierarchyRefresh serviceHierarchyRefresh();

    // Whether the file holds a Kestrel installation for the configured
    // address. Reads the file again on every call and never writes it.
    static bool hasInstallation();

    // Writes the whole document to identityFilePath(), replacing the file
    // at once.
    void save() const;
    // The document as save() writes it.
    std::string documentText() const;

    // The active Kestrel installation; ActiveInstallationNotFound("kestrel")
    // when none matches.
    KestrelInstallation& kestrelInstallation();
    // Every Harrier installation for the configured address, in order.
    std::vector<HarrierInstallation*> harrierInstallations();
    // All key references of the active Kestrel installation's devices, then
    // those of every active Harrier installation's wallet.
    std::vector<KeyReference*> certificates();
    // The version record of the active Kestrel installation; throws like
    // kestrelInstallation().
    const FutureVersion& availableVersion();
    // Forgets the cache marks of the active installations and saves, so the
    // next listings are complete. Throws like kestrelInstallation().
    void clearCacheMarks();

    // Points every installation, group and key reference at this aggregate.
    void setOwners();

    // Changes through the services (the clock times the calls' stamps).

    // Enrols this computer at the configured Kestrel service: with the key
    // pair of the existing identity, or a new one ("Orvane." and a UUID) when
    // there is no identity yet. Only a successful enrolment writes the file
    // (with the new installation and `info`); a failure leaves a new key
    // pair behind in the key store and nothing else.
    static CreateInstallationResult install(const DesktopInfo& info, Clock& clock = Clock::system());
    // Lists the certificates of the active installations; when a list came
    // back new, saves and brings the certificate store into line. A failed
    // listing returns at once, with nothing saved.
    OperationResult refreshCertificates(Clock& clock = Clock::system());
    // Removes the certificate of every key reference from the user's store,
    // linked or not, for when the product leaves the computer. A certificate
    // that no store holds ends the walk with its exception.
    void unpublishCertificates();
    // Asks for the authorisation mode of every active Harrier installation
    // that has none yet; nothing is saved here.
    void refreshAuthorizationModes(Clock& clock = Clock::system());
    // Logs in, registers this computer with the account, fills in its
    // authorisation mode, adds the installation and saves.
    OperationResult addHarrierAccount(const UserCredentials& credentials, Clock& clock = Clock::system());
    // Takes a key group off this computer: a phone is unpaired (memory only),
    // a wallet invalidated at the service and its installation dropped, then
    // saved, also when the service refused. Returns the status; 1 for a group
    // of no known kind. A wallet of no active installation is thrown as a
    // pointer to a heap ActiveInstallationNotFound, which the catcher owns.
    std::int32_t unregisterKeyGroup(KeyGroup* group, Clock& clock = Clock::system());
    // Renames a phone on this computer and saves; false for a wallet or a
    // name that a phone already has.
    bool renameDevice(KeyGroup* group, const std::wstring& newName);

    static ProxySettings loadProxySettings();
    static void saveProxySettings(const ProxySettings& settings);

    // "Orvane." and a UUID: the name of this computer's key pair.
    std::wstring privateKeyReference;
    DesktopInfo desktopInfo;
    std::vector<KestrelInstallation> kestrelInstallations;
    // All Harrier installations, active or not, in document order (the
    // active ones are what harrierInstallations() returns).
    std::vector<std::shared_ptr<HarrierInstallation>> allHarrierInstallations;
};

// Whether identityFilePath() exists. Not-found gives false; any other
// failure to look raises std::filesystem::filesystem_error.
bool identityFileExists();

} // namespace orvane::model
