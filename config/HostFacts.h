#pragma once

#include "config/DesktopInfo.h"
#include "config/HostPlatform.h"

#include <string>

namespace orvane::model {

// What a field reads when the system cannot tell it. The odd characters are
// the bytes the services have always received for it.
extern const wchar_t* const kUnidentified;

std::wstring osDisplayName();
// Computer name, operating system, user name and DNS domain of this host.
DesktopInfo hostFacts();
DesktopInfo hostFacts(const HostPlatform& platform);

} // namespace orvane::model
