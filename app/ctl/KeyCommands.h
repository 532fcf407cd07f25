#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// orvanectl key show
// The name of this computer's key pair as the identity document holds it,
// whether the key store holds that key, and its public key in PEM.
int keyShow(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace orvane::ctl
