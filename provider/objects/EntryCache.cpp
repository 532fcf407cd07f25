#include "provider/objects/EntryCache.h"

#include "signer/ProviderLink.h"
#include "signer/directory/DirectoryCertificateStore.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

namespace orvane::provider {

namespace {

bool isLinked(const valmora::signer::StoreEntry& entry)
{
    return entry.provider && entry.provider->providerName == valmora::signer::orvaneProviderName;
}

} // namespace

std::shared_ptr<const EntryCache::Decoded> EntryCache::decode(const std::string& text)
{
    std::optional<valmora::signer::StoreEntry> entry = valmora::signer::DirectoryCertificateStore::decode(text);
    if (!entry)
        return nullptr;
    auto decoded = std::make_shared<Decoded>();
    decoded->text = text;
    decoded->entry = std::move(*entry);
    const valmora::signer::Certificate& certificate = decoded->entry.certificate;
    if (isLinked(decoded->entry) && !certificate.isNull()
        && EVP_PKEY_get_base_id(X509_get0_pubkey(certificate.handle())) == EVP_PKEY_RSA) {
        const valmora::signer::PublicKey key = certificate.publicKey();
        decoded->modulus = key.modulus;
        decoded->exponent = key.exponent;
    }
    return decoded;
}

void EntryCache::forEachLinked(const LinkedVisitor& visitor)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::unordered_map<std::string, std::shared_ptr<const Decoded>> seen;
    std::shared_ptr<const Decoded> current;
    try {
        valmora::signer::DirectoryCertificateStore::forCurrentUser()->forEachEntry(
            "MY",
            [&](const valmora::signer::StoreEntry&) {
                if (current && isLinked(current->entry))
                    visitor(current);
                return valmora::signer::Then::Continue;
            },
            [&](const std::string& name, const std::string& text) -> std::optional<valmora::signer::StoreEntry> {
                const auto cached = byName_.find(name);
                current = cached != byName_.end() && cached->second->text == text ? cached->second : decode(text);
                if (!current)
                    return std::nullopt;
                seen[name] = current;
                return current->entry;
            });
    } catch (const std::exception&) {
        // A store that cannot be read shows no objects.
    }
    byName_ = std::move(seen);
}

} // namespace orvane::provider
