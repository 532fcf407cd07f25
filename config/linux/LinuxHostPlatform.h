#pragma once

#include "config/HostPlatform.h"

namespace orvane::model {

// Host facts on Linux, following the XDG base directory rules:
// - common data folder: the first absolute entry of XDG_CONFIG_DIRS, else /etc/xdg;
// - user data folder: XDG_DATA_HOME if absolute, else $HOME/.local/share (HOME
//   from the environment, else the password database);
// - computer name: gethostname() up to the first ".";
// - DNS domain: the canonical (fully qualified) host name after the first ".";
// - user name: the password database entry of the effective user;
// - operating system: PRETTY_NAME of /etc/os-release, then /usr/lib/os-release.
class LinuxHostPlatform : public HostPlatform {
public:
    std::optional<std::string> commonDataFolder() const override;
    std::optional<std::string> userDataFolder() const override;
    std::optional<std::wstring> computerName() const override;
    std::optional<std::wstring> dnsDomain() const override;
    std::optional<std::wstring> userName() const override;
    std::wstring operatingSystemName() const override;

    // PRETTY_NAME (or NAME) of an os-release file; empty when absent.
    static std::string osReleaseName(const std::string& path);
};

} // namespace orvane::model
