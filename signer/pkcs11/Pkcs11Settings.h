#pragma once

#include <string>

namespace valmora::signer {

// Which PKCS#11 module and token hold the user's keys, and where the user
// PIN comes from.
//
// The default is the SoftHSM2 module with a configuration and a token folder
// of the agent's own (`softHsmFolder`), so that nothing outside the user's
// "Orvane" folder has to be set up: the token is made on first use and its
// PIN kept in `pinFile`, readable by the user alone.
//
// Keys of applicationConfig-2.properties replace the default:
//   keystore.pkcs11.module      path of another PKCS#11 module
//   keystore.pkcs11.token       label of the token to use (default "Orvane")
//   keystore.pkcs11.pin.file    file whose first line is the user PIN
// With a module given, no token is made and no configuration is written:
// the token must exist and the PIN file must hold its PIN.
struct Pkcs11Settings {
    std::string modulePath;
    std::string tokenLabel = "Orvane";
    std::string pinFile;
    // When not empty: the SoftHSM2 home of the agent (configuration file
    // and token folder), set up on first use.
    std::string softHsmFolder;

    static const char* const defaultModulePath;

    // SoftHSM2 under `folder`, PIN in `folder`/user-pin.
    static Pkcs11Settings softHsmIn(const std::string& folder);
    // The settings of the current user: the configuration file's keys, or
    // SoftHSM2 in the "keystore" folder of the user's "Orvane" folder.
    static Pkcs11Settings forCurrentUser();
};

} // namespace valmora::signer
