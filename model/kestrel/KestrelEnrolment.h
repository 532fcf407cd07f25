#pragma once

#include "model/service/Clock.h"
#include "model/catalogue/HierarchyRefreshResult.h"
#include "model/kestrel/KestrelEnrolmentResult.h"
#include "model/kestrel/KestrelInstallation.h"
#include "config/DesktopInfo.h"
#include "net/DocumentOutcome.h"

#include <json/value.h>

#include <string>

namespace orvane::model {

// Enrols this computer at the configured Kestrel service ("/create") with its
// facts and the PEM text of its public key. On acceptance the new
// installation's catalogue is fetched at once; a failure of that fetch does
// not fail the enrolment.
KestrelEnrolmentResult createKestrelInstallation(const DesktopInfo& info, const std::string& publicKeyPem,
                                                 Clock& clock = Clock::system());
// What the answer to "/create" says: the service's refusal or the failure as
// a message, or, after a 200 that is no refusal, the new installation at
// `baseUrl` (its catalogue not yet fetched).
KestrelEnrolmentResult readCreateAnswer(const Json::Value& reply, const valmora::net::DocumentOutcome& outcome,
                                        const std::wstring& baseUrl);

// Brings the installation's hierarchy catalogue up to date
// ("/listHierarchies"), conditionally on its mark, and not at all while the
// copy is fresh. `changed` is set when the catalogue or its freshness moved,
// so the caller knows the identity needs saving.
HierarchyRefreshResult listHierarchies(KestrelInstallation& installation, bool& changed,
                                       Clock& clock = Clock::system());

} // namespace orvane::model
