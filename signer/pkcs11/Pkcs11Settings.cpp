#include "signer/pkcs11/Pkcs11Settings.h"

#include "config/ApplicationPaths.h"
#include "config/Properties.h"

#include <exception>

namespace valmora::signer {

namespace {

// The properties file holds one byte per character.
std::string bytesOf(const std::wstring& value)
{
    std::string bytes;
    bytes.reserve(value.size());
    for (wchar_t c : value)
        bytes.push_back(static_cast<char>(c));
    return bytes;
}

} // namespace

const char* const Pkcs11Settings::defaultModulePath = "/usr/lib/softhsm/libsofthsm2.so";

Pkcs11Settings Pkcs11Settings::softHsmIn(const std::string& folder)
{
    Pkcs11Settings settings;
    settings.modulePath = defaultModulePath;
    settings.pinFile = folder + "/user-pin";
    settings.softHsmFolder = folder;
    return settings;
}

Pkcs11Settings Pkcs11Settings::forCurrentUser()
{
    orvane::model::Properties configuration;
    try {
        configuration = orvane::model::Properties::load(orvane::model::configFilePath());
    } catch (const std::exception&) {
        // No configuration folder: the default applies.
    }
    const std::string module = bytesOf(configuration.get(L"keystore.pkcs11.module"));
    const std::string token = bytesOf(configuration.get(L"keystore.pkcs11.token"));
    const std::string pinFile = bytesOf(configuration.get(L"keystore.pkcs11.pin.file"));
    Pkcs11Settings settings;
    if (module.empty())
        settings = softHsmIn(orvane::model::userOrvaneFolder() + "/keystore");
    else
        settings.modulePath = module;
    if (!token.empty())
        settings.tokenLabel = token;
    if (!pinFile.empty())
        settings.pinFile = pinFile;
    return settings;
}

} // namespace valmora::signer
