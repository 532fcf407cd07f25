#include "app/ctl/IdentityCommands.h"

#include "app/ctl/CommandTable.h"
#include "app/ctl/ServiceCommandSupport.h"
#include "model/identity/ActiveInstallationNotFound.h"
#include "model/keys/Device.h"
#include "model/harrier/HarrierCalls.h"
#include "model/kestrel/KestrelListing.h"
#include "model/keys/KeyReference.h"
#include "model/keys/Wallet.h"
#include "config/HostFacts.h"
#include "config/ServiceUrls.h"

namespace orvane::ctl {

namespace {

void printCertificates(model::Orvane& identity, std::ostream& out)
{
    const std::vector<model::KeyReference*> references = identity.certificates();
    out << references.size() << (references.size() == 1 ? " certificate" : " certificates") << "\n";
    for (const model::KeyReference* reference : references) {
        const bool phone = reference->group && reference->group->type() == model::KeyGroup::Smartphone;
        out << (phone ? "SMARTPHONE" : "CLOUD") << "\t" << (reference->group ? narrow(reference->group->name()) : "")
            << "\t" << narrow(reference->friendlyName) << "\tkey=" << narrow(reference->keyName)
            << "\tid=" << model::KeyReference::keyIdText(reference->keyId)
            << "\tsha1=" << (reference->certificate ? reference->certificate->fingerprint() : "") << "\n";
    }
}

// The key groups of the active installations, by display name.
model::KeyGroup* findGroup(model::Orvane& identity, const std::wstring& name)
{
    try {
        for (const auto& device : identity.kestrelInstallation().devices.devices)
            if (device->name() == name)
                return device.get();
    } catch (const model::ActiveInstallationNotFound&) {
    }
    for (model::HarrierInstallation* installation : identity.harrierInstallations())
        if (installation->wallet && installation->wallet->name() == name)
            return installation->wallet.get();
    return nullptr;
}

} // namespace

int enrol(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    model::DesktopInfo info = model::hostFacts();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--name" && i + 1 < arguments.size()) {
            info.installationName = wide(arguments[++i]);
        } else {
            err << "orvanectl: usage: enrol [--name NAME]\n";
            return exitUsage;
        }
    }
    if (model::Orvane::hasInstallation()) {
        out << "already enrolled at " << narrow(model::kestrelBaseUrl()) << "\n";
        return exitSuccess;
    }
    AnswersToStandardError guard(out);
    const model::CreateInstallationResult result = model::Orvane::install(info);
    if (!result.aggregate)
        return report(err, result.status, result.message.empty() ? "enrolment failed" : result.message);
    const model::KestrelInstallation& installation = result.aggregate->kestrelInstallation();
    guard.out() << "enrolled at " << narrow(installation.targetUrl) << "\n"
                << "installation code: " << narrow(installation.installationCode) << "\n"
                << "key name: " << narrow(result.aggregate->privateKeyReference) << "\n"
                << "computer: " << narrow(info.installationName) << "\n";
    return exitSuccess;
}

int certsList(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (!arguments.empty()) {
        err << "orvanectl: certs list takes no arguments\n";
        return exitUsage;
    }
    AnswersToStandardError guard(out);
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    const model::CertificateListResult phones = model::listCertificates(identity->kestrelInstallation());
    if (exitStatusOf(phones.status, phones.message) != exitSuccess)
        return report(err, phones.status, phones.message);
    for (model::HarrierInstallation* installation : identity->harrierInstallations()) {
        const model::CertificateListResult wallet = model::listWallet(*installation);
        if (exitStatusOf(wallet.status, wallet.message) != exitSuccess)
            return report(err, wallet.status, wallet.message);
    }
    printCertificates(*identity, guard.out());
    return exitSuccess;
}

int refresh(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (!arguments.empty()) {
        err << "orvanectl: refresh takes no arguments\n";
        return exitUsage;
    }
    AnswersToStandardError guard(out);
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    const model::OperationResult result = identity->refreshCertificates();
    if (!result.succeeded())
        return report(err, result.status, result.message);
    printCertificates(*identity, guard.out());
    return exitSuccess;
}

int accountAdd(const std::vector<std::string>& arguments, std::istream& in, std::ostream& out,
               std::ostream& err)
{
    if (arguments.size() != 2) {
        err << "orvanectl: usage: account add EMAIL ORGANISATION (password on standard input)\n";
        return exitUsage;
    }
    const std::string password = readSecretLine(in);
    AnswersToStandardError guard(out);
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    const model::OperationResult result =
        identity->addHarrierAccount({wide(arguments[0]), wide(arguments[1]), wide(password)});
    if (!result.succeeded())
        return report(err, result.status, result.message);
    const model::HarrierInstallation& added = *identity->allHarrierInstallations.back();
    guard.out() << "account added: " << narrow(added.wallet ? added.wallet->name() : std::wstring()) << "\n"
                << "desktop code: " << narrow(added.desktopCode) << "\n"
                << "authorisation mode: " << narrow(added.authorizationMode) << "\n";
    return exitSuccess;
}

int groupRemove(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.size() != 1) {
        err << "orvanectl: usage: group remove NAME\n";
        return exitUsage;
    }
    AnswersToStandardError guard(out);
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    model::KeyGroup* group = findGroup(*identity, wide(arguments[0]));
    if (!group) {
        err << "orvanectl: no key group is called " << arguments[0] << "\n";
        return exitFailure;
    }
    const bool phone = group->type() == model::KeyGroup::Smartphone;
    std::int32_t status = 0;
    try {
        status = identity->unregisterKeyGroup(group);
    } catch (model::BaseException* thrown) {
        const std::unique_ptr<model::BaseException> owned(thrown);
        err << "orvanectl: " << owned->what() << "\n";
        return exitFailure;
    }
    if (status != 0)
        return report(err, status, {});
    if (phone) {
        // The phone left the list in memory; the refresh saves that and takes
        // its certificates out of the store.
        const model::OperationResult result = identity->refreshCertificates();
        if (!result.succeeded())
            return report(err, result.status, result.message);
    } else if (!identity->harrierInstallations().empty() && findGroup(*identity, wide(arguments[0]))) {
        return report(err, 0, "the service did not give up the wallet");
    }
    guard.out() << "removed: " << arguments[0] << "\n";
    return exitSuccess;
}

int deviceRename(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.size() != 2) {
        err << "orvanectl: usage: device rename NAME NEW-NAME\n";
        return exitUsage;
    }
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    model::KeyGroup* group = findGroup(*identity, wide(arguments[0]));
    if (!group || group->type() != model::KeyGroup::Smartphone) {
        err << "orvanectl: no phone is called " << arguments[0] << "\n";
        return exitFailure;
    }
    if (!identity->renameDevice(group, wide(arguments[1]))) {
        err << "orvanectl: refused: a phone is already called " << arguments[1] << "\n";
        return exitRefused;
    }
    out << "renamed: " << arguments[0] << " -> " << arguments[1] << "\n";
    return exitSuccess;
}

} // namespace orvane::ctl
