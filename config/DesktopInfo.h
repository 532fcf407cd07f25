#pragma once

#include <string>

namespace orvane::model {

// What this computer is called at the services: measured from the host at
// first, then whatever the user typed on the setup form.
struct DesktopInfo {
    std::wstring installationName;
    std::wstring operatingSystem;
    std::wstring userName;
    std::wstring domainName;
};

} // namespace orvane::model
