#pragma once

#include <string>

namespace orvane::model {

// The user's proxy choices, kept in proxy.properties beside the identity but
// independent of it: the network layer needs them before any identity exists.
// The password is clear text here and in the file, as the format defines.
struct ProxySettings {
    bool enable = true;
    std::wstring mode = L"2";
    std::wstring addressHttp;
    std::wstring addressHttps;
    std::wstring bypass;
    bool initialAuthenticate = false;
    std::wstring userName;
    std::wstring password;

    bool operator==(const ProxySettings& other) const;
    bool operator!=(const ProxySettings& other) const { return !(*this == other); }
};

// Reads proxyFilePath(); a missing or unreadable file gives the defaults
// (switch on, mode "2", the rest empty).
ProxySettings loadProxySettings();
ProxySettings loadProxySettings(const std::string& path);

// Rewrites the eight settings in proxyFilePath(), keeping comments and
// foreign keys on their lines. An unwritable file is left as it was, silently.
void saveProxySettings(const ProxySettings& settings);
void saveProxySettings(const ProxySettings& settings, const std::string& path);

} // namespace orvane::model
