// One entry file of the certificate store, as another program may have left
// it: decoded, and when it is one, written and decoded again unchanged.
#include "signer/directory/DirectoryCertificateStore.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using valmora::signer::DirectoryCertificateStore;
    const auto entry = DirectoryCertificateStore::decode(std::string(reinterpret_cast<const char*>(data), size));
    if (!entry)
        return 0;
    const auto again = DirectoryCertificateStore::decode(DirectoryCertificateStore::encode(*entry));
    if (!again || again->certificate != entry->certificate || again->friendlyName != entry->friendlyName
        || again->provider.has_value() != entry->provider.has_value()
        || (entry->provider && (again->provider->containerName != entry->provider->containerName
                                || again->provider->providerName != entry->provider->providerName
                                || again->provider->flags != entry->provider->flags)))
        __builtin_trap();  // the store would lose what the entry said
    return 0;
}
