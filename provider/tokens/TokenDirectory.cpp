#include "provider/tokens/TokenDirectory.h"

#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"
#include "model/harrier/HarrierInstallation.h"
#include "model/identity/Orvane.h"

#include <algorithm>

namespace orvane::provider {

namespace {

bool sameVersion(const struct stat& left, const struct stat& right)
{
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino && left.st_size == right.st_size
        && left.st_mtim.tv_sec == right.st_mtim.tv_sec && left.st_mtim.tv_nsec == right.st_mtim.tv_nsec
        && left.st_ctim.tv_sec == right.st_ctim.tv_sec && left.st_ctim.tv_nsec == right.st_ctim.tv_nsec;
}

std::vector<RemoteKey> remoteKeys(const std::vector<model::KeyReference>& references)
{
    std::vector<RemoteKey> keys;
    for (const model::KeyReference& reference : references) {
        RemoteKey key;
        key.keyName = reference.keyName;
        key.friendlyName = reference.friendlyName;
        key.keyId = reference.keyId;
        if (reference.certificate)
            key.fingerprint = reference.certificate->fingerprint();
        keys.push_back(std::move(key));
    }
    return keys;
}

void assignSlotIds(std::vector<KeyGroupToken>& tokens)
{
    std::vector<CK_SLOT_ID> taken;
    for (KeyGroupToken& token : tokens) {
        token.slotId = TokenDirectory::slotIdFor(token.groupKey, taken);
        taken.push_back(token.slotId);
    }
}

} // namespace

const KeyGroupToken* TokenList::find(CK_SLOT_ID slotId) const
{
    for (const KeyGroupToken& token : tokens)
        if (token.slotId == slotId)
            return &token;
    return nullptr;
}

CK_SLOT_ID TokenDirectory::slotIdFor(const std::string& groupKey, const std::vector<CK_SLOT_ID>& taken)
{
    // FNV-1a, kept to 31 bits so that every program prints it the same way.
    std::uint32_t hash = 2166136261u;
    for (unsigned char c : groupKey) {
        hash ^= c;
        hash *= 16777619u;
    }
    CK_SLOT_ID id = hash & 0x7fffffffu;
    while (std::find(taken.begin(), taken.end(), id) != taken.end())
        id = (id + 1) & 0x7fffffffu;
    return id;
}

std::shared_ptr<const TokenList> TokenDirectory::current()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    struct stat now {};
    if (::stat(model::identityFilePath().c_str(), &now) != 0) {
        known_ = false;
        list_ = std::make_shared<TokenList>();
        return list_;
    }
    if (!known_ || !sameVersion(now, version_)) {
        list_ = read();
        version_ = now;
        known_ = true;
    }
    return list_;
}

std::shared_ptr<const TokenList> TokenDirectory::read()
{
    auto list = std::make_shared<TokenList>();
    try {
        bool dirty = false;
        // No catalogue refresh and no save: inside another program the
        // identity is only looked at.
        const std::unique_ptr<model::Orvane> identity =
            model::Orvane::read(dirty, [](model::KestrelInstallation&, bool&) {});
        list->computerKeyName = identity->privateKeyReference;
        const std::wstring kestrelUrl = model::kestrelBaseUrl();
        for (const model::KestrelInstallation& installation : identity->kestrelInstallations) {
            if (installation.targetUrl != kestrelUrl)
                continue;
            for (const auto& device : installation.devices.devices) {
                KeyGroupToken token;
                token.phone = true;
                token.name = model::toUtf8(device->localName);
                token.groupKey = "kestrel " + model::toUtf8(installation.targetUrl) + " " + model::toUtf8(device->hash);
                token.code = installation.installationCode;
                token.keys = remoteKeys(device->keyReferences);
                list->tokens.push_back(std::move(token));
            }
        }
        for (model::HarrierInstallation* installation : identity->harrierInstallations()) {
            if (!installation->wallet)
                continue;
            KeyGroupToken token;
            token.phone = false;
            token.name = model::toUtf8(installation->wallet->name());
            token.groupKey = "harrier " + model::toUtf8(installation->targetUrl) + " "
                + model::toUtf8(installation->userId) + " " + model::toUtf8(installation->organizationId);
            token.code = installation->desktopCode;
            token.authorizationMode = installation->authorizationMode;
            token.keys = remoteKeys(installation->wallet->keyReferences);
            list->tokens.push_back(std::move(token));
        }
    } catch (...) {
        // An identity that cannot be read offers no tokens; the agent is
        // where it gets repaired.
        return std::make_shared<TokenList>();
    }
    assignSlotIds(list->tokens);
    for (std::size_t t = 0; t < list->tokens.size(); ++t)
        for (std::size_t k = 0; k < list->tokens[t].keys.size(); ++k)
            list->keysByName.emplace(list->tokens[t].keys[k].keyName, std::make_pair(t, k));
    return list;
}

} // namespace orvane::provider
