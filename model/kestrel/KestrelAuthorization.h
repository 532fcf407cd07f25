#pragma once

#include "model/kestrel/AuthorizationPoll.h"
#include "model/service/Clock.h"
#include "model/kestrel/DeviceAuthorizationsResult.h"
#include "model/kestrel/DeviceSearchResult.h"
#include "model/kestrel/IdentityKey.h"
#include "model/kestrel/KestrelInstallation.h"
#include "model/kestrel/MaintenanceResult.h"

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvane::model {

class Device;

// The calls with which an identity's phones are found and approve this
// computer (letter "A") or a removal of phones (letter "M"), and with which
// one phone is taken off this computer. All go in the signed envelope, signed
// with the key of the installation's aggregate; the service's refusals come
// back as messages with status 0, status 1 means it was not reached.

// "/requestAuthorization/" without a letter: the phones of an identity.
DeviceSearchResult searchDevices(KestrelInstallation& installation, const IdentityKey& identity);
// What a 200 answer of that search says.
DeviceSearchResult readDeviceSearchAnswer(const Json::Value& reply);

// "/requestAuthorization/" with a letter, once for each phone, in order. A
// phone the service does not ask is left out silently; a failure of any call
// drops everything collected.
DeviceAuthorizationsResult requestAuthorizations(KestrelInstallation& installation, const IdentityKey& identity,
                                                 const std::vector<DeviceEntry>& devices,
                                                 const std::string& letter);
// What a 200 answer to one such request says: the request's handle when the
// service asked the phone, nothing when it did not.
std::optional<std::string> readAuthorizationRequestAnswer(const Json::Value& reply);

// "/isAuthorized/": whether the phone has approved. Stores the answer in
// the record's answered flag.
AuthorizationPoll isAuthorized(KestrelInstallation& installation, DeviceAuthorization& authorization);
// What a 200 answer of "/isAuthorized/" says: nothing while the phone has
// not answered, else whether it approved. An answer that is no object, or an
// "isAuthorized" that cannot be read as a boolean, fails with JsonCpp's
// exception.
std::optional<bool> readIsAuthorizedAnswer(const Json::Value& reply);

// Asks the phones and waits for their answers: sleeps of 6, 5, 4, 3, 2, 1,
// 1... seconds, each followed by one look at every phone not yet answered,
// until all have answered, `isCancelled` says so, the connection is lost
// (status 1) or 60 seconds for each asked phone have passed. `onAnswer` gets
// the name of each phone as it approves. Running out of time is no failure:
// the caller reads the answered flags. Both callables must be given.
DeviceAuthorizationsResult authorizeDevices(KestrelInstallation& installation, const IdentityKey& identity,
                                            const std::vector<DeviceEntry>& devices, const std::string& letter,
                                            const std::function<bool()>& isCancelled,
                                            const std::function<void(const std::wstring&)>& onAnswer,
                                            Clock& clock = Clock::system());

// "/maintenanceDevices/": removes the phones from the identity at the
// service, under a request approved with the letter "M".
MaintenanceResult maintainDevices(KestrelInstallation& installation, const IdentityKey& identity,
                                  const std::string& desktopRequestCode, const std::vector<DeviceEntry>& devices);
// What a 200 answer of that removal says.
MaintenanceResult readMaintenanceAnswer(const Json::Value& reply);

// "/cancelAuthorization/": unpairs the phone from this computer. When the
// service agrees the phone leaves the installation's list (in memory only)
// and the list's mark is cleared, so the next listing is complete. Returns
// the status: 1 when the service was not reached or answered wrongly.
std::int32_t cancelAuthorization(KestrelInstallation& installation, Device& device);
// Whether a 200 answer of that call says the service agreed.
bool readCancelAnswer(const Json::Value& reply);

} // namespace orvane::model
