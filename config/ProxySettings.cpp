#include "config/ProxySettings.h"

#include "config/ApplicationPaths.h"
#include "config/AtomicFile.h"
#include "config/Properties.h"

#include <boost/algorithm/string/trim.hpp>

#include <cwctype>
#include <utility>

namespace orvane::model {

namespace {

// The file's key names; "initialAutenticate" is spelled so in every file
// ever written and must stay that way.
const wchar_t* const kAddressHttp = L"proxy.address.http";
const wchar_t* const kAddressHttps = L"proxy.address.https";
const wchar_t* const kBypass = L"proxy.bypass";
const wchar_t* const kEnable = L"proxy.enable";
const wchar_t* const kInitialAuthenticate = L"proxy.initialAutenticate";
const wchar_t* const kMode = L"proxy.mode";
const wchar_t* const kPassword = L"proxy.password";
const wchar_t* const kUserName = L"proxy.username";

bool equalsIgnoringCase(const std::wstring& value, const std::wstring& upper)
{
    if (value.size() != upper.size())
        return false;
    for (std::size_t i = 0; i < value.size(); ++i)
        if (std::towupper(static_cast<wint_t>(value[i])) != static_cast<wint_t>(upper[i]))
            return false;
    return true;
}

std::wstring trimmed(const std::wstring& value)
{
    return boost::algorithm::trim_copy(value);
}

const wchar_t* flag(bool value)
{
    return value ? L"TRUE" : L"FALSE";
}

} // namespace

bool ProxySettings::operator==(const ProxySettings& other) const
{
    return enable == other.enable && mode == other.mode && addressHttp == other.addressHttp
        && addressHttps == other.addressHttps && bypass == other.bypass
        && initialAuthenticate == other.initialAuthenticate && userName == other.userName
        && password == other.password;
}

ProxySettings loadProxySettings()
{
    return loadProxySettings(proxyFilePath());
}

ProxySettings loadProxySettings(const std::string& path)
{
    const Properties file = Properties::load(path);
    ProxySettings settings;

    // A computer that never saved settings has the switch on: an empty value
    // counts as on, only an explicit other word turns it off.
    const std::wstring enable = file.get(kEnable);
    settings.enable = enable.empty() || equalsIgnoringCase(enable, L"TRUE");

    settings.mode = trimmed(file.get(kMode));
    if (settings.mode.empty())
        settings.mode = L"2";

    settings.addressHttp = trimmed(file.get(kAddressHttp));
    settings.addressHttps = trimmed(file.get(kAddressHttps));
    settings.bypass = trimmed(file.get(kBypass));
    settings.initialAuthenticate = equalsIgnoringCase(file.get(kInitialAuthenticate), L"TRUE");
    settings.userName = trimmed(file.get(kUserName));
    settings.password = trimmed(file.get(kPassword));
    return settings;
}

void saveProxySettings(const ProxySettings& settings)
{
    saveProxySettings(settings, proxyFilePath());
}

void saveProxySettings(const ProxySettings& settings, const std::string& path)
{
    Properties file = Properties::load(path);

    // Added in key order, so a new file lists them sorted and a merge into an
    // existing one appends the missing keys in that same order.
    Properties fresh;
    fresh.add(kAddressHttp, settings.addressHttp);
    fresh.add(kAddressHttps, settings.addressHttps);
    fresh.add(kBypass, settings.bypass);
    fresh.add(kEnable, flag(settings.enable));
    fresh.add(kInitialAuthenticate, flag(settings.initialAuthenticate));
    fresh.add(kMode, settings.mode);
    fresh.add(kPassword, settings.password);
    fresh.add(kUserName, settings.userName);

    file.merge(fresh);
    // It may hold a password: owner-only, whatever the file was before.
    writeFileAtomically(path, file.text());
}

} // namespace orvane::model
