#include "signer/SystemError.h"

#include "signer/Exceptions.h"

#include <system_error>

namespace valmora::signer {

std::string systemErrorText(int code) { return std::error_code(code, std::generic_category()).message(); }

void throwOnSystemError(int code, std::initializer_list<int> ignoredCodes, const std::string& label,
                        const std::string& detail)
{
    if (code == 0)
        return;
    for (int ignored : ignoredCodes)
        if (ignored == code)
            return;
    throw CapiException(detail.empty() ? systemErrorText(code) : detail, label);
}

} // namespace valmora::signer
