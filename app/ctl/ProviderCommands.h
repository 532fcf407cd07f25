#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// orvanectl provider install [--module PATH]
// Registers the PKCS#11 module liborvane-pkcs11.so for the current user:
// with p11-kit (~/.config/pkcs11/modules/orvane.module, read by GnuTLS
// programs and everything that loads p11-kit's proxy) and in the user's
// shared NSS database (~/.pki/nssdb, read by Chromium and other NSS
// programs; made when missing) through modutil. Registering again replaces
// the earlier registration.
int providerInstall(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// orvanectl provider uninstall
// Undoes both registrations; what is not registered is left as it is.
int providerUninstall(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// orvanectl provider status
// One line for each place: "p11-kit<tab>PATH" or "p11-kit<tab>not
// registered", "nss<tab>PATH" or "nss<tab>not registered".
int providerStatus(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace orvane::ctl
