#pragma once

#include <p11-kit/pkcs11.h>

namespace orvane::provider {

// The module's PKCS#11 v2.40 function list. Every entry catches what the
// layers below may throw, so nothing escapes into the calling program.
CK_FUNCTION_LIST* functionTable();

} // namespace orvane::provider
