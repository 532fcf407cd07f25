#pragma once

#include "signer/CertificateStore.h"
#include "signer/Encoding.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace orvane::provider {

// The entries of the user's "MY" store as the module's searches see them.
// Every search reads every entry file again (that is how an entry the agent
// published a moment ago is found), but an entry whose file holds the same
// text as at the last search is not decoded again: decoding a certificate
// costs far more than reading its file.
class EntryCache {
public:
    // One decoded entry, with the RSA parts of its certificate (empty for
    // another key type) when it is linked to the Orvane provider.
    struct Decoded {
        std::string text;
        valmora::signer::StoreEntry entry;
        valmora::signer::Bytes modulus;
        valmora::signer::Bytes exponent;
    };
    using LinkedVisitor = std::function<void(const std::shared_ptr<const Decoded>&)>;

    // Calls `visitor` with each entry of "MY" linked to the Orvane provider,
    // in the order of the store's walk. A store that cannot be read has no
    // entries.
    void forEachLinked(const LinkedVisitor& visitor);

private:
    static std::shared_ptr<const Decoded> decode(const std::string& text);

    std::mutex mutex_;
    std::unordered_map<std::string, std::shared_ptr<const Decoded>> byName_;
};

} // namespace orvane::provider
