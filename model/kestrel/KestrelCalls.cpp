#include "model/kestrel/KestrelCalls.h"

#include "model/identity/BaseException.h"
#include "model/identity/Orvane.h"
#include "config/ServiceUrls.h"

namespace orvane::model {

std::wstring kestrelCallUrl(const KestrelInstallation& installation, const std::wstring& path)
{
    return kestrelBaseUrl() + path + installation.installationCode;
}

std::wstring signingKeyName(const KestrelInstallation& installation)
{
    if (!installation.owner)
        throw BaseException("KestrelInstallation sem identidade: chave de assinatura desconhecida");
    return installation.owner->privateKeyReference;
}

} // namespace orvane::model
