#pragma once

#include "model/service/CertificateListResult.h"
#include "model/service/Clock.h"
#include "model/kestrel/KestrelInstallation.h"

#include <string>

namespace orvane::model {

class Device;

// "/listCertificates/": the phones paired with this installation and their
// certificates, conditionally on the list's mark. A new list replaces the old
// one whole, keeping what only this computer knows (the user's device names
// and the keys' identifiers); the catalogue is refreshed after it. Memory
// only: the caller saves.
CertificateListResult listCertificates(KestrelInstallation& installation, Clock& clock = Clock::system());

// Makes equal local names different: the second of a name gets " - 2"
// behind it, the third " - 3", and so on, in list order.
void uniqueDeviceNames(KestrelInstallation& installation);

// Gives the phone with the device's code a new local name. Refused (false)
// when any phone, this one included, already has exactly that name;
// otherwise `changed` is set and the answer is true.
bool renameKestrelDevice(KestrelInstallation& installation, const Device& device, const std::wstring& newName,
                         bool& changed);

} // namespace orvane::model
