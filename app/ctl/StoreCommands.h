#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// orvanectl store list [--json] [STORE]
// One line per entry of the store ("MY" unless named): fingerprint, subject,
// end of validity, and the key-provider link (provider, container) or
// "none"; tab-separated, or one JSON object a line with --json.
int storeList(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// orvanectl store remove FINGERPRINT
// Removes the certificate from whichever of the user's stores holds it.
int storeRemove(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace orvane::ctl
