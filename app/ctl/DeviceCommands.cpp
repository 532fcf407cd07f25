#include "app/ctl/DeviceCommands.h"

#include "app/ctl/CommandTable.h"
#include "app/ctl/ServiceCommandSupport.h"
#include "model/KestrelAuthorization.h"

#include <algorithm>

namespace orvane::ctl {

int devicesSearch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.size() != 2) {
        err << "orvanectl: usage: devices search HIERARCHY IDENTITY\n";
        return exitUsage;
    }
    AnswersToStandardError guard(out);
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    model::KestrelInstallation& installation = identity->kestrelInstallation();
    const std::optional<model::IdentityKey> key = typedIdentity(installation, arguments[0], arguments[1], err);
    if (!key)
        return exitUsage;
    const model::DeviceSearchResult found = model::searchDevices(installation, *key);
    if (exitStatusOf(found.status, found.message) != exitSuccess)
        return report(err, found.status, found.message);
    for (const model::DeviceEntry& device : found.devices)
        guard.out() << narrow(device.deviceCode) << "\t" << narrow(device.deviceName) << "\t"
                    << (device.alreadyExist ? "paired" : "not paired") << "\n";
    return exitSuccess;
}

int devicesAuthorize(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                     model::Clock& clock)
{
    std::vector<std::string> rest = arguments;
    std::string letter = "A";
    if (!rest.empty() && rest.front() == "--maintenance") {
        letter = "M";
        rest.erase(rest.begin());
    }
    if (rest.size() < 2) {
        err << "orvanectl: usage: devices authorize [--maintenance] HIERARCHY IDENTITY [DEVICE-CODE...]\n";
        return exitUsage;
    }
    AnswersToStandardError guard(out);
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    model::KestrelInstallation& installation = identity->kestrelInstallation();
    const std::optional<model::IdentityKey> typed = typedIdentity(installation, rest[0], rest[1], err);
    if (!typed)
        return exitUsage;
    const model::IdentityKey& key = *typed;
    const model::DeviceSearchResult found = model::searchDevices(installation, key);
    if (exitStatusOf(found.status, found.message) != exitSuccess)
        return report(err, found.status, found.message);

    std::vector<model::DeviceEntry> chosen;
    for (const model::DeviceEntry& device : found.devices) {
        const bool named = rest.size() == 2
            || std::find(rest.begin() + 2, rest.end(), narrow(device.deviceCode)) != rest.end();
        if (named)
            chosen.push_back(device);
    }
    if (chosen.empty()) {
        err << "orvanectl: none of the given devices belongs to this identity\n";
        return exitFailure;
    }
    for (const model::DeviceEntry& device : chosen)
        guard.out() << "asked: " << narrow(device.deviceName) << "\n";
    guard.out().flush();

    const model::DeviceAuthorizationsResult result = model::authorizeDevices(
        installation, key, chosen, letter, [] { return false; },
        [&](const std::wstring& name) { guard.out() << "approved: " << narrow(name) << std::endl; }, clock);
    if (exitStatusOf(result.status, result.message) != exitSuccess)
        return report(err, result.status, result.message);

    bool all = result.authorizations.size() == chosen.size();
    for (const model::DeviceAuthorization& authorization : result.authorizations) {
        if (!authorization.answered) {
            all = false;
            guard.out() << "no answer in time: " << narrow(authorization.deviceName) << "\n";
        } else if (letter == "M") {
            guard.out() << "maintenance request: " << authorization.desktopRequestCode << "\n";
        }
    }
    if (result.authorizations.size() != chosen.size())
        guard.out() << "not asked by the service: " << chosen.size() - result.authorizations.size() << "\n";
    return all ? exitSuccess : exitRefused;
}

} // namespace orvane::ctl
