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

// The phone of that code among those the service knows for the identity.
const model::DeviceEntry* deviceWithCode(const model::DeviceSearchResult& found, const std::string& code)
{
    for (const model::DeviceEntry& device : found.devices)
        if (narrow(device.deviceCode) == code)
            return &device;
    return nullptr;
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

int devicesRemove(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                  model::Clock& clock)
{
    if (arguments.size() < 5 || arguments[2] != "--via") {
        err << "orvanectl: usage: devices remove HIERARCHY IDENTITY --via DEVICE-CODE DEVICE-CODE...\n";
        return exitUsage;
    }
    const std::string& via = arguments[3];
    const std::vector<std::string> codes(arguments.begin() + 4, arguments.end());
    // The phone that approves the maintenance stays: it is the identity's
    // proof of presence for this very request.
    if (std::find(codes.begin(), codes.end(), via) != codes.end()) {
        err << "orvanectl: the approving phone cannot be removed in the same run\n";
        return exitUsage;
    }
    AnswersToStandardError guard(out);
    const DeviceSearch search = searchTyped(arguments[0], arguments[1], err);
    if (search.exitStatus != exitSuccess)
        return search.exitStatus;
    model::KestrelInstallation& installation = search.identity->kestrelInstallation();

    const model::DeviceEntry* approver = deviceWithCode(search.found, via);
    std::vector<model::DeviceEntry> doomed;
    for (const std::string& code : codes) {
        const model::DeviceEntry* device = deviceWithCode(search.found, code);
        if (!device || !approver) {
            err << "orvanectl: not a device of this identity: " << (approver ? code : via) << "\n";
            return exitFailure;
        }
        doomed.push_back(*device);
    }

    guard.out() << "asked: " << narrow(approver->deviceName) << std::endl;
    const model::DeviceAuthorizationsResult approval = model::authorizeDevices(
        installation, search.key, {*approver}, "M", [] { return false; },
        [&](const std::wstring& name) { guard.out() << "approved: " << narrow(name) << std::endl; }, clock);
    if (exitStatusOf(approval.status, approval.message) != exitSuccess)
        return report(err, approval.status, approval.message);
    if (approval.authorizations.empty()) {
        guard.out() << "not asked by the service: " << narrow(approver->deviceName) << "\n";
        return exitRefused;
    }
    if (!approval.authorizations.front().answered) {
        guard.out() << "no answer in time: " << narrow(approver->deviceName) << "\n";
        return exitRefused;
    }

    const model::MaintenanceResult removal = model::maintainDevices(
        installation, search.key, approval.authorizations.front().desktopRequestCode, doomed);
    if (exitStatusOf(removal.status, removal.message) != exitSuccess)
        return report(err, removal.status, removal.message);
    if (!removal.done) {
        err << "orvanectl: refused: the service did not remove the phones\n";
        return exitRefused;
    }
    for (const model::DeviceEntry& device : doomed)
        guard.out() << "removed: " << narrow(device.deviceName) << "\n";
    return exitSuccess;
}

} // namespace orvane::ctl
