// The aggregate's operations that change local state through a service:
// enrolment, certificate refresh, Harrier accounts and the removal and
// renaming of key groups. They own the order of the steps (call, save, then
// bring the certificate store into line).

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/keys/Device.h"
#include "model/harrier/HarrierCalls.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "model/kestrel/KestrelEnrolment.h"
#include "model/kestrel/KestrelListing.h"
#include "model/identity/KeyPairName.h"
#include "model/identity/Orvane.h"
#include "model/keys/Wallet.h"

#include "signer/Certificate.h"
#include "signer/Publication.h"
#include "signer/SystemRepository.h"

#include <algorithm>

namespace orvane::model {

namespace {

std::vector<valmora::signer::PublishedKey> publishedKeys(const std::vector<KeyReference*>& references)
{
    std::vector<valmora::signer::PublishedKey> keys;
    for (const KeyReference* reference : references)
        if (reference->certificate)
            keys.push_back({*reference->certificate, reference->keyName, reference->friendlyName});
    return keys;
}

bool failed(std::int32_t status, const std::string& message)
{
    return status == 1 || !message.empty();
}

} // namespace

void Orvane::unpublishCertificates()
{
    valmora::signer::unpublishCertificates(publishedKeys(certificates()));
}

CreateInstallationResult Orvane::install(const DesktopInfo& info, Clock& clock)
{
    valmora::signer::SystemRepository& repository = valmora::signer::SystemRepository::processWide();
    std::unique_ptr<Orvane> aggregate;
    valmora::signer::PublicKey publicKey;
    if (identityFileExists()) {
        // Another service address was enrolled before: the same key pair
        // serves this one too.
        bool ignored = false;
        aggregate = read(ignored);
        publicKey = repository.publicKeyOfNamedKey(aggregate->privateKeyReference);
    } else {
        const std::wstring keyName = newKeyPairName();
        publicKey = repository.createNamedKey(keyName, 2048);
        aggregate = std::make_unique<Orvane>();
        aggregate->privateKeyReference = keyName;
    }

    KestrelEnrolmentResult enrolment =
        createKestrelInstallation(info, valmora::signer::Certificate::publicKeyPem(publicKey), clock);
    if (failed(enrolment.status, enrolment.message) || !enrolment.installation)
        return {nullptr, enrolment.message, enrolment.status};

    enrolment.installation->setOwner(aggregate.get());
    aggregate->kestrelInstallations.push_back(*enrolment.installation);
    aggregate->setOwners();
    aggregate->desktopInfo = info;
    aggregate->save();
    return {std::move(aggregate), {}, 0};
}

OperationResult Orvane::refreshCertificates(Clock& clock)
{
    std::int32_t kestrelChanged = CertificateListResult::Failed;
    try {
        const CertificateListResult listing = listCertificates(kestrelInstallation(), clock);
        if (failed(listing.status, listing.message))
            return {listing.message, listing.status};
        kestrelChanged = listing.changed;
    } catch (const ActiveInstallationNotFound&) {
        // No phones for this address; the wallets may still have keys.
    }

    // Only the last wallet's answer decides below; with one account, the
    // usual case, nothing is lost.
    std::int32_t harrierChanged = CertificateListResult::Failed;
    for (HarrierInstallation* installation : harrierInstallations()) {
        const CertificateListResult listing = listWallet(*installation, clock);
        if (failed(listing.status, listing.message))
            return {listing.message, listing.status};
        harrierChanged = listing.changed;
    }

    if (kestrelChanged == CertificateListResult::NewList || harrierChanged == CertificateListResult::NewList) {
        save();
        valmora::signer::publishCertificates(publishedKeys(certificates()));
    }
    return {};
}

void Orvane::refreshAuthorizationModes(Clock& clock)
{
    for (HarrierInstallation* installation : harrierInstallations())
        if (installation->authorizationMode.empty())
            refreshAuthorizationMode(*installation, clock);
}

OperationResult Orvane::addHarrierAccount(const UserCredentials& credentials, Clock& clock)
{
    const HarrierRegistrationResult registration =
        registerAtHarrier(credentials, privateKeyReference, desktopInfo);
    if (!failed(registration.status, registration.message) && registration.installation) {
        registration.installation->setOwner(this);
        // A failure here leaves the mode empty; the next start asks again.
        refreshAuthorizationMode(*registration.installation, clock);
        allHarrierInstallations.push_back(registration.installation);
        save();
    }
    return {registration.message, registration.status};
}

std::int32_t Orvane::unregisterKeyGroup(KeyGroup* group, Clock& clock)
{
    if (auto* device = dynamic_cast<Device*>(group))
        return cancelAuthorization(kestrelInstallation(), *device);

    auto* wallet = dynamic_cast<Wallet*>(group);
    if (!wallet)
        return 1;
    const std::vector<HarrierInstallation*> active = harrierInstallations();
    const bool known = wallet->installation
        && std::find(active.begin(), active.end(), wallet->installation) != active.end();
    if (!known)
        throw new ActiveInstallationNotFound("Wallet não encontrada");

    // Held here, so the record outlives its removal from the list.
    std::shared_ptr<HarrierInstallation> installation;
    for (const auto& each : allHarrierInstallations)
        if (each.get() == wallet->installation)
            installation = each;
    const HarrierOperationResult result = invalidateWallet(*installation, clock);
    if (!failed(result.status, result.message)) {
        allHarrierInstallations.erase(
            std::remove_if(allHarrierInstallations.begin(), allHarrierInstallations.end(),
                           [&](const auto& each) { return *each == *installation; }),
            allHarrierInstallations.end());
    }
    save();
    return result.status;
}

bool Orvane::renameDevice(KeyGroup* group, const std::wstring& newName)
{
    auto* device = dynamic_cast<Device*>(group);
    if (!device)
        return false;
    bool changed = false;
    const bool renamed = renameKestrelDevice(kestrelInstallation(), *device, newName, changed);
    if (changed)
        save();
    return renamed;
}

} // namespace orvane::model
