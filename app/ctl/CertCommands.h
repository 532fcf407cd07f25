#pragma once

#include "signer/Certificate.h"

#include <json/value.h>

#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// orvanectl cert show FILE...
int certShow(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// What Orvane sees of a certificate: names, serial, fingerprint, the end of
// validity as shown to the user, e-mail, key usages, policy descriptions and
// the ICP-Brasil identity fields, byte for byte.
Json::Value certificateJson(const valmora::signer::Certificate& certificate);

// The file as a certificate: PEM, DER or base64, the last also when it is
// broken into lines. Throws std::invalid_argument when it is none of these.
valmora::signer::Certificate readCertificateFile(const std::string& content);

} // namespace orvane::ctl
