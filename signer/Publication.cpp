#include "signer/Publication.h"

#include <deque>
#include <optional>
#include <unordered_map>

namespace valmora::signer {

namespace {

ProviderLink orvaneLink(const PublishedKey& key) { return ProviderLink{orvaneProviderName, key.keyName}; }

} // namespace

void publishCertificates(const std::vector<PublishedKey>& keys, const SystemRepository& stores)
{
    // A repository for this task alone: its walk state and the removals it
    // puts off die with it.
    SystemRepository repository(stores.keyStore(), stores.certificateStore());

    // The working list, and where each fingerprint stands in it; a key
    // leaves the list when the store is found to hold its certificate.
    std::vector<std::optional<PublishedKey>> working(keys.begin(), keys.end());
    std::unordered_map<std::string, std::deque<std::size_t>> byFingerprint;
    for (std::size_t i = 0; i < keys.size(); ++i)
        byFingerprint[keys[i].certificate.fingerprint()].push_back(i);

    repository.certificatesOfProvider(orvaneProviderName, [&](const Certificate& certificate) {
        const auto found = byFingerprint.find(certificate.fingerprint());
        if (found == byFingerprint.end() || found->second.empty()) {
            // Nothing asks for it any more; it goes when the walk ends.
            repository.removeCertificate(certificate);
            return;
        }
        const std::size_t index = found->second.front();
        found->second.pop_front();
        // Brings the link up to date when the key has a new name.
        repository.bindToProvider(certificate, orvaneLink(*working[index]));
        working[index].reset();
    });

    // The rest are new to the store, or stand there under another link.
    for (const std::optional<PublishedKey>& key : working)
        if (key)
            repository.bindToProvider(key->certificate, orvaneLink(*key));
}

void publishCertificates(const std::vector<PublishedKey>& keys) { publishCertificates(keys, SystemRepository()); }

void unpublishCertificates(const std::vector<PublishedKey>& keys, const SystemRepository& stores)
{
    SystemRepository repository(stores.keyStore(), stores.certificateStore());
    for (const PublishedKey& key : keys)
        repository.removeCertificate(Certificate::fromText(key.certificate.toPem()));
}

void unpublishCertificates(const std::vector<PublishedKey>& keys) { unpublishCertificates(keys, SystemRepository()); }

} // namespace valmora::signer
