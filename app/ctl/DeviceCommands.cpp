#include "app/ctl/DeviceCommands.h"

#include "app/ctl/CommandTable.h"
#include "app/ctl/ServiceCommandSupport.h"
#include "model/kestrel/KestrelAuthorization.h"

#include <algorithm>

namespace orvane::ctl {

namespace {

// What both device commands start with: this computer's identity, the
// identity typed on the command line, and the phones the service knows for it.
struct DeviceSearch {
    int exitStatus = exitSuccess;
    std::unique_ptr<model::Orvane> identity;
    model::IdentityKey key;
    model::DeviceSearchResult found;
};

DeviceSearch searchTyped(const std::string& hierarchyCode, const std::string& typed, std::ostream& err)
{
    DeviceSearch search;
    search.identity = loadInstalledIdentity(err);
    if (!search.identity) {
        search.exitStatus = exitFailure;
        return search;
    }
    model::KestrelInstallation& installation = search.identity->kestrelInstallation();
    const std::optional<model::IdentityKey> key = typedIdentity(installation, hierarchyCode, typed, err);
    if (!key) {
        search.exitStatus = exitUsage;
        return search;
    }
    search.key = *key;
    search.found = model::searchDevices(installation, search.key);
    if (exitStatusOf(search.found.status, search.found.message) != exitSuccess)
        search.exitStatus = report(err, search.found.status, search.found.message);
    return search;
}

} // namespace

int devicesSearch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.size() != 2) {
        err << "orvanectl: usage: devices search HIERARCHY IDENTITY\n";
        return exitUsage;
    }
    AnswersToStandardError guard(out);
    const DeviceSearch search = searchTyped(arguments[0], arguments[1], err);
    if (search.exitStatus != exitSuccess)
        return search.exitStatus;
    for (const model::DeviceEntry& device : search.found.devices)
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
    const DeviceSearch search = searchTyped(rest[0], rest[1], err);
    if (search.exitStatus != exitSuccess)
        return search.exitStatus;
    model::KestrelInstallation& installation = search.identity->kestrelInstallation();
    const model::IdentityKey& key = search.key;
    const model::DeviceSearchResult& found = search.found;

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
