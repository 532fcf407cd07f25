#pragma once

#include <optional>
#include <string>

namespace orvane::model {

// The few facts the program asks of the operating system: where the common
// and the per-user data folders are, and what the host and user are called.
// Each answer is empty when the system cannot give it; the callers turn that
// into their own failure text.
class HostPlatform {
public:
    virtual ~HostPlatform() = default;

    // Folder for configuration shared by all users (written by the installer).
    virtual std::optional<std::string> commonDataFolder() const = 0;
    // Folder for the current user's own data; created if it is missing.
    virtual std::optional<std::string> userDataFolder() const = 0;

    virtual std::optional<std::wstring> computerName() const = 0;
    virtual std::optional<std::wstring> dnsDomain() const = 0;
    virtual std::optional<std::wstring> userName() const = 0;
    virtual std::wstring operatingSystemName() const = 0;
};

// The platform this build runs on.
const HostPlatform& hostPlatform();

} // namespace orvane::model
