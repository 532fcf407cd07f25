#include "model/KestrelSignatureStrategy.h"

#include "model/BaseException.h"

namespace orvane::model {

KestrelSignatureStrategy& KestrelSignatureStrategy::instance()
{
    static KestrelSignatureStrategy strategy;
    return strategy;
}

SessionOpening KestrelSignatureStrategy::openSession(const std::wstring&, UserAuthentication*)
{
    throw BaseException("\"KestrelSignatureStrategy::openSession\" not implemented");
}

void KestrelSignatureStrategy::sign(const std::wstring&, const std::wstring&, const std::wstring&,
                                    const unsigned char*, std::size_t, unsigned char*, std::size_t,
                                    UserAuthentication* authentication)
{
    // The missing-credentials failure is thrown by pointer, as every caller
    // of the strategies expects for this one.
    if (!authentication)
        throw new BaseException("ptrUserAuthentication not set");
    // The push-and-poll exchange with the service is not part of this build
    // yet: refuse rather than hand back an unsigned buffer.
    throw BaseException("KestrelSignatureStrategy::sign not available: the Kestrel signing "
                        "exchange is not built in");
}

} // namespace orvane::model
