#pragma once

#include "model/service/Clock.h"

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// sign KEY (--digest HEX | --file PATH) [--algorithm NAME] [--out FILE]:
// signs a digest (or the digest of a file) with one of the identity's remote
// keys, named by its key name, its 40-digit identifier or its certificate's
// SHA-1 fingerprint. A phone's key waits for the person to approve on the
// phone (up to a minute); a cloud key reads its PIN and then the one-time
// code from `in`, one a line. The signature is printed in base64, or written
// raw to FILE.
int signDigest(const std::vector<std::string>& arguments, std::istream& in, std::ostream& out, std::ostream& err,
               model::Clock& clock = model::Clock::system());

} // namespace orvane::ctl
