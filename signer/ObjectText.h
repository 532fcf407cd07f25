#pragma once

#include <openssl/types.h>

#include <string>

namespace valmora::signer {

// Text of an ASN.1 object identifier: dotted numbers when `numeric`, else
// OpenSSL's long name when it has one (dotted numbers otherwise). Works for
// identifiers of any length.
std::string objectText(const ASN1_OBJECT* object, bool numeric);

} // namespace valmora::signer
