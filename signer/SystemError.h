#pragma once

#include <initializer_list>
#include <string>

namespace valmora::signer {

// The door through which failures of the stores become CapiException: does
// nothing for code 0 or for a code among `ignoredCodes`; otherwise throws
// CapiException from `detail` (or, when it is empty, the system's text for
// the error number) with `label`.
void throwOnSystemError(int code, std::initializer_list<int> ignoredCodes, const std::string& label,
                        const std::string& detail = {});

// The system's text for an error number (thread-safe strerror).
std::string systemErrorText(int code);

} // namespace valmora::signer
