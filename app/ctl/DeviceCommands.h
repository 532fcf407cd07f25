#pragma once

#include "model/service/Clock.h"

#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// devices search HIERARCHY IDENTITY: the phones the Kestrel service knows
// for an identity (IDENTITY as the service takes it: the document number's
// digits, parts joined with "&").
int devicesSearch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// devices authorize [--maintenance] HIERARCHY IDENTITY [DEVICE-CODE...]:
// asks the phones (all of the identity's when no code is given) to approve
// this computer and waits, printing each approval as it comes; at the end
// the phones that did not approve in time. Exit 0 when every phone
// approved, 3 when some did not.
int devicesAuthorize(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                     model::Clock& clock = model::Clock::system());

// devices remove HIERARCHY IDENTITY --via DEVICE-CODE DEVICE-CODE...: asks
// the phone named by --via to approve a maintenance request ("M") and waits
// for it (up to a minute); once it approved, has the service remove the
// other phones from the identity. The approving phone cannot be one of
// them. Exit 0 when they were removed, 3 when the phone did not approve in
// time or the service refused, 4 when the service could not be reached.
int devicesRemove(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                  model::Clock& clock = model::Clock::system());

} // namespace orvane::ctl
