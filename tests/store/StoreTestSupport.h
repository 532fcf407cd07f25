#pragma once

// Helpers of the store suites: small certificate chains and a store that
// counts its lookups.

#include "signer/Certificate.h"
#include "signer/CertificateStore.h"
#include "signer/Encoding.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace orvane::test::store {

using valmora::signer::Bytes;
using valmora::signer::Certificate;
using valmora::signer::CertificateStore;
using valmora::signer::EntryChange;
using valmora::signer::EntryVisitor;
using valmora::signer::StoreEntry;

// A root, an authority below it and an end entity below that, made on the
// spot; `expiredLeaf` makes the end entity's validity lie in the past.
struct SmallChain {
    Certificate root;
    Certificate intermediate;
    Certificate leaf;
};
SmallChain makeChain(const std::string& tag, bool expiredLeaf = false);

// A store in front of another that counts the lookups reaching it; with
// `blind` set its lookups find nothing, though every other call goes through.
class CountingStore : public CertificateStore {
public:
    explicit CountingStore(std::shared_ptr<CertificateStore> inner) : inner_(std::move(inner)) {}
    void forEachEntry(const std::string& store, const EntryVisitor& visitor) override
    {
        inner_->forEachEntry(store, visitor);
    }
    std::optional<StoreEntry> find(const std::string& store, const std::string& fingerprint) override
    {
        ++finds;
        if (blind)
            return std::nullopt;
        return inner_->find(store, fingerprint);
    }
    bool add(const std::string& store, const StoreEntry& entry) override { return inner_->add(store, entry); }
    void put(const std::string& store, const StoreEntry& entry) override { inner_->put(store, entry); }
    bool update(const std::string& store, const std::string& fingerprint, const EntryChange& change) override
    {
        return inner_->update(store, fingerprint, change);
    }
    bool remove(const std::string& store, const std::string& fingerprint) override
    {
        return inner_->remove(store, fingerprint);
    }
    int finds = 0;
    bool blind = false;

private:
    std::shared_ptr<CertificateStore> inner_;
};

// An end-entity certificate with this common name from an issuer that no
// store holds.
Certificate makeEndEntity(const std::string& commonName, long serial = 1);

} // namespace orvane::test::store
