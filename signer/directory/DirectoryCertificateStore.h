#pragma once

#include "signer/CertificateStore.h"

#include <memory>
#include <string>

namespace valmora::signer {

// The certificate stores as folders: <root>/MY, <root>/AddressBook,
// <root>/CA and <root>/ROOT, one file per certificate named by its
// fingerprint. The file format is the contract with the other programs that
// read these stores; docs/certificate-store.md describes it.
//
// Changes of one store are serialised between processes by an advisory lock
// on its folder; each file is replaced whole (temporary file and rename), so
// readers take no lock. Folders are created owner-only on first use.
class DirectoryCertificateStore : public CertificateStore {
public:
    explicit DirectoryCertificateStore(std::string root);

    // "certstore" in the user's "Orvane" folder.
    static std::shared_ptr<DirectoryCertificateStore> forCurrentUser();

    const std::string& root() const { return root_; }
    // Where the entry of `fingerprint` lies in `store`.
    std::string entryPath(const std::string& store, const std::string& fingerprint) const;

    void forEachEntry(const std::string& store, const EntryVisitor& visitor) override;
    // The same walk with the decoding of each file's text (the file name
    // beside it) left to `decoder`, for a reader that keeps what it decoded
    // before. The entry must still match its file name to be visited.
    using EntryDecoder = std::function<std::optional<StoreEntry>(const std::string& name, const std::string& text)>;
    void forEachEntry(const std::string& store, const EntryVisitor& visitor, const EntryDecoder& decoder);
    std::optional<StoreEntry> find(const std::string& store, const std::string& fingerprint) override;
    bool add(const std::string& store, const StoreEntry& entry) override;
    void put(const std::string& store, const StoreEntry& entry) override;
    bool update(const std::string& store, const std::string& fingerprint, const EntryChange& change) override;
    bool remove(const std::string& store, const std::string& fingerprint) override;

    // The file form of an entry, and back. decode answers nothing for text
    // that is not a whole, consistent entry.
    static std::string encode(const StoreEntry& entry);
    static std::optional<StoreEntry> decode(const std::string& text);
    // The file name of an entry: 40 lower-case hexadecimal digits and
    // ".entry"; empty for a text that is no fingerprint.
    static std::string fileName(const std::string& fingerprint);

private:
    std::string storeFolder(const std::string& store) const;
    void ensureFolder(const std::string& folder) const;

    std::string root_;
};

} // namespace valmora::signer
