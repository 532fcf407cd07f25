#pragma once

#include "signer/Certificate.h"
#include "signer/Encoding.h"
#include "signer/RepositoryTypes.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace valmora::signer {

// The key-provider link of an entry: which provider holds the private key of
// the certificate and under which container name.
struct KeyProviderInfo {
    std::wstring containerName;
    std::wstring providerName;
    std::uint32_t providerType = 0;
    std::uint32_t flags = 0;
    std::uint32_t keySpec = 0;
};

// One certificate of a store with its properties. The certificate's
// fingerprint (computed once, when it is parsed) is the entry's key.
struct StoreEntry {
    Certificate certificate;
    std::optional<KeyProviderInfo> provider;
    std::optional<std::wstring> friendlyName;
};

using EntryVisitor = std::function<Then(const StoreEntry&)>;
using EntryChange = std::function<void(StoreEntry&)>;

// The four certificate stores of the current user, in the order in which
// every search walks them.
constexpr std::array<const char*, 4> storeNames = {"MY", "AddressBook", "CA", "ROOT"};

// A failed store operation, with the system's error number. A store throws
// only this; the repository above turns it into the failures it reports.
class CertificateStoreError : public std::exception {
public:
    CertificateStoreError(int code, std::string text);
    int code() const { return code_; }
    const char* what() const noexcept override;

private:
    int code_;
    std::string text_;
};

// The user's certificate stores. Store names are those of storeNames; any
// other name fails with EINVAL. Every change of an entry is whole: a reader
// in another process sees the old entry or the new one.
class CertificateStore {
public:
    virtual ~CertificateStore();

    // Each readable entry of a store, in a stable order, until the visitor
    // answers Stop. Entries that cannot be read are passed over.
    virtual void forEachEntry(const std::string& store, const EntryVisitor& visitor) = 0;
    // The entry of that fingerprint (canonical text), if the store holds it.
    virtual std::optional<StoreEntry> find(const std::string& store, const std::string& fingerprint) = 0;
    // Writes `entry` unless the store holds its certificate already; false
    // then, and the entry there stays as it is.
    virtual bool add(const std::string& store, const StoreEntry& entry) = 0;
    // Writes `entry`, replacing what stands under its fingerprint.
    virtual void put(const std::string& store, const StoreEntry& entry) = 0;
    // Reads, changes and writes one entry with no other change in between;
    // false, with nothing written, when the store does not hold it.
    virtual bool update(const std::string& store, const std::string& fingerprint, const EntryChange& change) = 0;
    // False when the store did not hold it.
    virtual bool remove(const std::string& store, const std::string& fingerprint) = 0;
};

} // namespace valmora::signer
