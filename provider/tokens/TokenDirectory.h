#pragma once

#include "provider/tokens/KeyGroupToken.h"

#include <sys/stat.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace orvane::provider {

// The key groups of this computer's identity as tokens, read from the
// identity document without writing it and without calling any service.
struct TokenList {
    // The name of this computer's own key, which signs the service calls.
    std::wstring computerKeyName;
    std::vector<KeyGroupToken> tokens;
    // Key name to the token and the key that bear it (positions in
    // `tokens` and its `keys`).
    std::multimap<std::wstring, std::pair<std::size_t, std::size_t>> keysByName;

    const KeyGroupToken* find(CK_SLOT_ID slotId) const;
};

// Reads the identity document when it changed since the last reading. The
// document is always replaced whole, so its inode, size and modification
// time tell one version from the next; an unchanged document is not parsed
// again, which spares the certificate parsing of every key on each slot
// listing.
class TokenDirectory {
public:
    // No identity (or an unreadable one) gives an empty list: a module
    // without tokens, never a failure of the calling program.
    std::shared_ptr<const TokenList> current();

    // The slot identifier of a group: a hash of what identifies the group,
    // so the same group has the same slot in every process; `taken` holds
    // the identifiers given to earlier groups of the same list.
    static CK_SLOT_ID slotIdFor(const std::string& groupKey, const std::vector<CK_SLOT_ID>& taken);

private:
    static std::shared_ptr<const TokenList> read();

    std::mutex mutex_;
    bool known_ = false;
    struct stat version_ {};
    std::shared_ptr<const TokenList> list_ = std::make_shared<TokenList>();
};

} // namespace orvane::provider
