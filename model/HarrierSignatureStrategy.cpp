#include "model/HarrierSignatureStrategy.h"

#include "model/BaseException.h"
#include "model/PasswordAndOtpAuthentication.h"
#include "model/SessionTokenAuthentication.h"

namespace orvane::model {

HarrierSignatureStrategy& HarrierSignatureStrategy::instance()
{
    static HarrierSignatureStrategy strategy;
    return strategy;
}

SessionOpening HarrierSignatureStrategy::openSession(const std::wstring&, UserAuthentication* authentication)
{
    // Thrown by pointer, as every caller of the strategies expects for this one.
    if (!dynamic_cast<PasswordAndOtpAuthentication*>(authentication))
        throw new BaseException("ptrUserAuthentication not set");
    throw BaseException("HarrierSignatureStrategy::openSession not available: the Harrier session "
                        "exchange is not built in");
}

void HarrierSignatureStrategy::sign(const std::wstring&, const std::wstring&, const std::wstring&,
                                    const unsigned char*, std::size_t, unsigned char*, std::size_t,
                                    UserAuthentication* authentication)
{
    if (!dynamic_cast<SessionTokenAuthentication*>(authentication))
        throw new BaseException("ptrUserAuthentication not set");
    throw BaseException("HarrierSignatureStrategy::sign not available: the Harrier signing "
                        "exchange is not built in");
}

} // namespace orvane::model
