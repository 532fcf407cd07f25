#pragma once

#include "model/service/CertificateListResult.h"
#include "model/service/Clock.h"
#include "model/harrier/HarrierInstallation.h"
#include "model/harrier/HarrierOperationResult.h"
#include "model/harrier/HarrierRegistrationResult.h"
#include "model/harrier/LoginResult.h"
#include "model/harrier/UserCredentials.h"
#include "config/DesktopInfo.h"
#include "net/DocumentOutcome.h"

#include <json/value.h>

#include <string>

namespace orvane::model {

// The calls of the Harrier service that join an account and keep its wallet.
// Every address is "https://" + harrierBaseUrl() + path. After the
// registration, calls are authenticated by a signature of this computer's
// key over the request, with the "momento" of the clock as the only member.

// Login with e-mail, access address and password. A refused password is no
// connection failure: status 0 with the service's message.
LoginResult loginHarrier(const UserCredentials& credentials);
// What an answer of the login says, once the service was reached.
LoginResult readLoginAnswer(const Json::Value& reply, int httpStatus);

// Registers this computer under the login's token, handing over the public
// key of `keyName`. On success the installation gets its desktop code and
// the service address.
HarrierOperationResult registerHarrierDesktop(HarrierInstallation& installation, const std::wstring& token,
                                              const std::wstring& keyName, const DesktopInfo& info);
// What the answer to that registration says; on success the installation
// gets the desktop code and `baseUrl`.
HarrierOperationResult readDesktopRegistrationAnswer(HarrierInstallation& installation, const Json::Value& reply,
                                                     const valmora::net::DocumentOutcome& outcome,
                                                     const std::wstring& baseUrl);

// The login and, when it succeeded, the registration.
HarrierRegistrationResult registerAtHarrier(const UserCredentials& credentials, const std::wstring& keyName,
                                            const DesktopInfo& info);

// "statusCelular": asks how the account authorises signatures. Whatever the
// answer says, "local" is stored: push authorisation is not offered.
HarrierOperationResult refreshAuthorizationMode(HarrierInstallation& installation,
                                                Clock& clock = Clock::system());
// What the answer to "statusCelular" says, with the mode stored on success.
HarrierOperationResult readAuthorizationModeAnswer(HarrierInstallation& installation, const Json::Value& reply,
                                                   const valmora::net::DocumentOutcome& outcome);

// "carteira": the account's keys, conditionally on the wallet's mark. A new
// list replaces the wallet, keeping the keys' identifiers. Memory only.
CertificateListResult listWallet(HarrierInstallation& installation, Clock& clock = Clock::system());

// "carteira/invalida": ends the wallet's use on this computer at the service.
HarrierOperationResult invalidateWallet(HarrierInstallation& installation, Clock& clock = Clock::system());

// The name of the key that signs the installation's calls: the aggregate's
// own key. An installation that belongs to no aggregate cannot sign:
// BaseException.
std::wstring signingKeyName(const HarrierInstallation& installation);

} // namespace orvane::model
