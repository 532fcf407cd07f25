#include "signer/SystemRepository.h"

#include "signer/ArchiveRepository.h"
#include "signer/CertificateStore.h"
#include "signer/Exceptions.h"
#include "signer/KeyStore.h"
#include "signer/KeyStorePrivateKey.h"
#include "signer/NarrowConverter.h"
#include "signer/OpenSslPtr.h"
#include "signer/SystemError.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "signer/pkcs11/Pkcs11KeyStore.h"

#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pkcs12.h>
#include <openssl/rand.h>
#include <openssl/x509.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace valmora::signer {

namespace {

// What a search or a walk stands on: the fingerprint, the store that holds
// it and the entry as it was read.
struct Slot {
    std::string fingerprint;
    std::string store;
    StoreEntry entry;

    void clear() { *this = Slot(); }
};

std::uint64_t fnv1a(const std::string& text)
{
    std::uint64_t hash = 0xCBF29CE484222325ull;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 0x100000001B3ull;
    }
    return hash;
}

std::string utf8(const std::wstring& text) { return narrowConverter.to_bytes(text); }

// A random name for a key that arrives without one (version 4 UUID).
std::string newContainerName()
{
    unsigned char bytes[16];
    if (RAND_bytes(bytes, sizeof bytes) != 1)
        throw KeyStoreError(KeyStoreError::Kind::Failure, "No random bytes for a key name");
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    char text[37];
    std::snprintf(text, sizeof text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                  bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8],
                  bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    return std::string("Orvane.") + text;
}

// The DER DigestInfo of PKCS#1 v1.5 for a digest made with `hashName`.
Bytes digestInfo(const std::string& hashName, const Bytes& digestBytes)
{
    const int nid = OBJ_txt2nid(hashName.c_str());
    if (nid == NID_undef)
        throw SignatureException("Hash algorithm not found");
    if (digestBytes.size() > static_cast<std::size_t>(INT_MAX))
        throw std::overflow_error("bad numeric conversion: positive overflow");
    OpenSslPtr<X509_SIG, X509_SIG_free> sig(X509_SIG_new());
    if (!sig)
        throw SignatureException("Memory allocation failure");
    X509_ALGOR* algorithm = nullptr;
    ASN1_OCTET_STRING* value = nullptr;
    X509_SIG_getm(sig.get(), &algorithm, &value);
    if (X509_ALGOR_set0(algorithm, OBJ_nid2obj(nid), V_ASN1_NULL, nullptr) != 1
        || ASN1_OCTET_STRING_set(value, digestBytes.data(), static_cast<int>(digestBytes.size())) != 1) {
        ERR_clear_error();
        throw SignatureException("Cannot encode DigestInfo");
    }
    unsigned char* der = nullptr;
    const int length = i2d_X509_SIG(sig.get(), &der);
    OpensslBytesPtr owner(der);
    if (length <= 0) {
        ERR_clear_error();
        throw SignatureException("Cannot encode DigestInfo");
    }
    return Bytes(der, der + length);
}

std::vector<std::string> storesOfFilter(RepositoryFilter filter)
{
    std::vector<std::string> stores;
    if (filter & PersonalFilter)
        stores.push_back("MY");
    if (filter & AddressBookFilter)
        stores.push_back("AddressBook");
    if (filter & (FinalCaFilter | IntermediateCaFilter | RootFilter | CaStoreFilter))
        stores.push_back("CA");
    if (filter & RootFilter)
        stores.push_back("ROOT");
    return stores;
}

[[noreturn]] void throwStoreError(const CertificateStoreError& error, const char* label)
{
    throw CapiException(error.what(), label);
}

[[noreturn]] void throwKeyError(const KeyStoreError& error, const char* label)
{
    throw CapiException(error.what(), label);
}

bool withinValidity(const Certificate& certificate, std::time_t now)
{
    const ASN1_TIME* notBefore = X509_get0_notBefore(certificate.handle());
    const ASN1_TIME* notAfter = X509_get0_notAfter(certificate.handle());
    return X509_cmp_time(notBefore, &now) < 0 && X509_cmp_time(notAfter, &now) > 0;
}

using EntryWalker = std::function<Then(const Certificate&, const StoreEntry&)>;

} // namespace

class SystemRepositoryImpl {
public:
    SystemRepositoryImpl(std::shared_ptr<KeyStore> keys, std::shared_ptr<CertificateStore> certificates)
        : keyStore(std::move(keys)), certificateStore(std::move(certificates))
    {
    }

    const Slot& findContext(const std::string& fingerprint, const std::string& storeName);
    // Walks one store; the entry walked on stands in enumerationSlot while
    // the walker runs, and the removals put off meanwhile run at the end. A
    // store that cannot be read fails with `label`.
    void enumerateStore(const std::string& store, const EntryWalker& walker,
                        const char* label = "CertEnumCertificatesInStore");
    // The link of an entry changed here: the slots that hold it follow.
    void linkChanged(const std::string& fingerprint, const KeyProviderInfo& info);

    std::vector<ArchiveRepository> pendingArchives;
    std::shared_ptr<KeyStore> keyStore;
    std::shared_ptr<CertificateStore> certificateStore;
    Slot foundSlot;
    Slot enumerationSlot;
    std::vector<std::function<void()>> deferredRemovals;
};

const Slot& SystemRepositoryImpl::findContext(const std::string& fingerprint, const std::string& storeName)
{
    if (!enumerationSlot.fingerprint.empty() && enumerationSlot.fingerprint == fingerprint)
        return enumerationSlot;
    if (!foundSlot.fingerprint.empty() && foundSlot.fingerprint == fingerprint)
        return foundSlot;
    // A text that is no fingerprint names no certificate: it is not found,
    // like any other fingerprint that no store holds.
    try {
        fingerprintBytes(fingerprint);
    } catch (const std::invalid_argument&) {
        throw CertificateNotFoundException("Fingerprint: " + fingerprint);
    }
    for (const char* store : storeNames) {
        if (!storeName.empty() && storeName != store)
            continue;
        std::optional<StoreEntry> entry;
        try {
            entry = certificateStore->find(store, fingerprint);
        } catch (const CertificateStoreError& error) {
            throwStoreError(error, "CertFindCertificateInStore");
        }
        if (entry) {
            foundSlot = Slot{fingerprint, store, std::move(*entry)};
            return foundSlot;
        }
    }
    throw CertificateNotFoundException("Fingerprint: " + fingerprint);
}

void SystemRepositoryImpl::enumerateStore(const std::string& store, const EntryWalker& walker, const char* label)
{
    // However the walk ends, it no longer stands on an entry.
    struct SlotGuard {
        Slot& slot;
        ~SlotGuard() { slot.clear(); }
    } guard{enumerationSlot};
    try {
        certificateStore->forEachEntry(store, [&](const StoreEntry& entry) {
            enumerationSlot = Slot{entry.certificate.fingerprint(), store, entry};
            return walker(entry.certificate, entry);
        });
    } catch (const CertificateStoreError& error) {
        throwStoreError(error, label);
    }
    enumerationSlot.clear();
    // The list stays: an object that walks again runs these again.
    for (const auto& removal : deferredRemovals)
        removal();
}

void SystemRepositoryImpl::linkChanged(const std::string& fingerprint, const KeyProviderInfo& info)
{
    if (enumerationSlot.fingerprint == fingerprint)
        enumerationSlot.entry.provider = info;
    if (foundSlot.fingerprint == fingerprint)
        foundSlot.entry.provider = info;
}

const wchar_t* const SystemRepository::transitPassword = L"tidewave";

SystemRepository::SystemRepository()
    : SystemRepository(Pkcs11KeyStore::forCurrentUser(), DirectoryCertificateStore::forCurrentUser())
{
}

SystemRepository::SystemRepository(std::shared_ptr<KeyStore> keyStore,
                                   std::shared_ptr<CertificateStore> certificateStore)
    : impl_(std::make_shared<SystemRepositoryImpl>(std::move(keyStore), std::move(certificateStore)))
{
}

SystemRepository& SystemRepository::processWide()
{
    // Never destroyed: it may be signing until the process ends, and the key
    // module's own state must not be finalised from behind the exit handlers
    // of the module itself.
    static SystemRepository* const repository = new SystemRepository();
    return *repository;
}

const std::shared_ptr<KeyStore>& SystemRepository::keyStore() const { return impl_->keyStore; }

const std::shared_ptr<CertificateStore>& SystemRepository::certificateStore() const
{
    return impl_->certificateStore;
}

std::unique_ptr<Repository> SystemRepository::clone() const { return std::make_unique<SystemRepository>(*this); }

PublicKey SystemRepository::createNamedKey(const std::wstring& keyName, std::uint32_t bits)
{
    try {
        return impl_->keyStore->createKey(utf8(keyName), false, bits);
    } catch (const KeyStoreError& error) {
        throwKeyError(error, "NCryptCreatePersistedKey");
    }
}

PublicKey SystemRepository::publicKeyOfNamedKey(const std::wstring& keyName)
{
    try {
        return impl_->keyStore->publicKey(utf8(keyName));
    } catch (const KeyStoreError& error) {
        throwKeyError(error, error.kind() == KeyStoreError::Kind::NoSuchKey ? "NCryptOpenKey" : "NCryptExportKey");
    }
}

bool SystemRepository::hasNamedKey(const std::wstring& keyName)
{
    try {
        return impl_->keyStore->hasKey(utf8(keyName));
    } catch (const KeyStoreError& error) {
        throwKeyError(error, "NCryptOpenKey");
    }
}

Bytes SystemRepository::signWithNamedKey(const Bytes& data, const std::wstring& keyName, const std::string& hashName)
{
    const Bytes hashed = digest(data, hashName);
    const auto key = std::make_shared<KeyStorePrivateKey>(utf8(keyName), false);
    return signDigest(hashName, hashed.empty() ? data : hashed, key);
}

Bytes SystemRepository::signDigest(const std::string& hashName, const Bytes& digestBytes, const PrivateKeyHandle& key)
{
    const auto* stored = dynamic_cast<const KeyStorePrivateKey*>(key.get());
    if (!stored)
        throw SignatureException("The key does not belong to this repository");
    const Bytes block = hashName.empty() ? digestBytes : digestInfo(hashName, digestBytes);
    try {
        return impl_->keyStore->signPkcs1(stored->name(), block);
    } catch (const KeyStoreError& error) {
        // The label of the decryption call is the one this failure has
        // always reported; callers match on it.
        throw SignatureException(CapiException(error.what(), "NCryptDecrypt").what());
    }
}

Bytes SystemRepository::decrypt(const Bytes& bytes, const PrivateKeyHandle& key)
{
    const auto* stored = dynamic_cast<const KeyStorePrivateKey*>(key.get());
    if (!stored)
        throw DecryptionException("The key does not belong to this repository");
    try {
        return impl_->keyStore->decryptPkcs1(stored->name(), bytes);
    } catch (const KeyStoreError& error) {
        throw DecryptionException(CapiException(error.what(), "NCryptDecrypt").what());
    }
}

Bytes SystemRepository::sign(const Bytes& bytes, const PrivateKeyHandle& key, const std::string& hashName)
{
    const auto* stored = dynamic_cast<const KeyStorePrivateKey*>(key.get());
    if (!stored || !stored->byContainer())
        return Repository::sign(bytes, key, hashName);
    // Keys reached through a container know only these four hash names,
    // spelt exactly so.
    static const char* const known[] = {"SHA1", "SHA256", "SHA384", "SHA512"};
    bool isKnown = false;
    for (const char* name : known)
        isKnown = isKnown || hashName == name;
    if (!isKnown)
        throw CapiException("Invalid algorithm specified: \"" + hashName + "\"", "CryptCreateHash");
    // Failures of this way are reported under its own call and not wrapped.
    const Bytes block = digestInfo(hashName, digest(bytes, hashName));
    try {
        return impl_->keyStore->signPkcs1(stored->name(), block);
    } catch (const KeyStoreError& error) {
        throwKeyError(error, "CryptSignHashW");
    }
}

PrivateKeyHandle SystemRepository::privateKeyOf(const Certificate& certificate)
{
    const Slot& slot = impl_->findContext(certificate.fingerprint(), "");
    const std::optional<KeyProviderInfo>& provider = slot.entry.provider;
    const char* const label = "CryptAcquireCertificatePrivateKey";
    if (!provider)
        throw CapiException("The certificate has no link to a key provider", label);
    if (provider->providerName != localKeyProviderName)
        throw CapiException("The key is held by the provider \"" + utf8(provider->providerName)
                                + "\", which this program does not reach",
                            label);
    const std::string name = utf8(provider->containerName);
    bool present = false;
    try {
        present = impl_->keyStore->hasKey(name);
    } catch (const KeyStoreError& error) {
        throwKeyError(error, label);
    }
    if (!present)
        throw CapiException("No key named \"" + name + "\" in the key store", label);
    return std::make_shared<KeyStorePrivateKey>(name, true);
}

Certificate SystemRepository::findByFingerprint(const std::string& fingerprint)
{
    try {
        return impl_->findContext(fingerprint, "").entry.certificate;
    } catch (const CapiException& error) {
        throw CertificateSearchingException(error.what());
    }
}

void SystemRepository::visitCertificates(RepositoryFilter filter, const CertificateVisitor& visitor)
{
    // Ordered by the hash of the fingerprint, and two fingerprints with the
    // same hash count as one.
    std::set<std::uint64_t> visitedRoots;
    Then last = Then::Continue;
    try {
        for (const std::string& store : storesOfFilter(filter)) {
            impl_->enumerateStore(store, [&](const Certificate& certificate, const StoreEntry&) {
                if (!passesFilter(certificate, filter))
                    return Then::Continue;
                if (certificate.isRoot() && !visitedRoots.insert(fnv1a(certificate.fingerprint())).second)
                    return Then::Continue;
                last = visitor(certificate);
                return last;
            });
            if (last == Then::Stop)
                break;
        }
    } catch (const CapiException& error) {
        throw CertificateSearchingException(error.what());
    }
}

CertificateChain SystemRepository::buildChain(const Certificate& certificate)
{
    try {
        impl_->findContext(certificate.fingerprint(), "");
    } catch (const CapiException& error) {
        throw CertificateSearchingException(error.what());
    }
    // The path as the generic walk finds it over these stores, then the
    // trust of its top and the validity of its members.
    CertificateChain chain = Repository::buildChain(certificate);
    if (chain.status == ChainOtherError) {
        chain.certificates.clear();
        return chain;
    }
    constexpr unsigned partial = 1, notTimeValid = 2, untrustedRoot = 4;
    unsigned flags = chain.status == ChainPartial ? partial : 0;
    const std::time_t now = std::time(nullptr);
    for (const Certificate& member : chain.certificates)
        if (!withinValidity(member, now))
            flags |= notTimeValid;
    if (!(flags & partial)) {
        try {
            if (!impl_->certificateStore->find("ROOT", chain.certificates.back().fingerprint()))
                flags |= untrustedRoot;
        } catch (const CertificateStoreError& error) {
            throw CertificateSearchingException(CapiException(error.what(), "CertGetCertificateChain").what());
        }
    }
    // Only a single fault has a status of its own.
    chain.status = flags == 0 ? ChainComplete
                   : flags == partial ? ChainPartial
                   : flags == notTimeValid ? ChainNotTimeValid
                                           : ChainOtherError;
    return chain;
}

void SystemRepository::certificatesOfProvider(const std::wstring& providerName, const CertificateAction& visitor)
{
    try {
        impl_->enumerateStore(
            "MY",
            [&](const Certificate& certificate, const StoreEntry& entry) {
                // An entry without a link is no failure: it is passed over.
                if (entry.provider && entry.provider->providerName == providerName)
                    visitor(certificate);
                return Then::Continue;
            },
            // The store's folder is read whole before the walk starts: what
            // fails is the opening.
            "CertOpenSystemStore");
    } catch (const CapiException& error) {
        throw CertificateSearchingException(error.what());
    }
}

void SystemRepository::bindToProvider(const Certificate& certificate, const ProviderLink& link)
{
    const std::string& fingerprint = certificate.fingerprint();
    KeyProviderInfo info{link.containerName, link.providerName, providerTypeRsaAes, 0, keySpecSignature};
    try {
        std::string store;
        try {
            store = impl_->findContext(fingerprint, "MY").store;
        } catch (const CertificateNotFoundException&) {
        }
        const char* const label = "CertAddCertificateContextToStore";
        try {
            const bool updated = !store.empty()
                                 && impl_->certificateStore->update(store, fingerprint,
                                                                    [&](StoreEntry& entry) { entry.provider = info; });
            // New, or gone since it was found: it goes in whole.
            if (!updated)
                impl_->certificateStore->put("MY", StoreEntry{certificate, info, std::nullopt});
        } catch (const CertificateStoreError& error) {
            throwStoreError(error, label);
        }
        impl_->linkChanged(fingerprint, info);
    } catch (const CapiException& error) {
        throw CertificateAdditionException(error.what());
    }
}

void SystemRepository::removeCertificate(const Certificate& certificate)
{
    const std::string fingerprint = certificate.fingerprint();
    if (!impl_->enumerationSlot.fingerprint.empty() && impl_->enumerationSlot.fingerprint == fingerprint) {
        // Removing the entry a walk stands on would pull it from under the
        // walk: it goes when the walk ends.
        const std::string store = impl_->enumerationSlot.store;
        SystemRepositoryImpl* impl = impl_.get();
        impl_->deferredRemovals.push_back([impl, store, fingerprint] {
            try {
                impl->certificateStore->remove(store, fingerprint);
            } catch (const CertificateStoreError& error) {
                throwOnSystemError(error.code(), {ENOENT}, "CertDeleteCertificateFromStore", error.what());
            }
        });
        return;
    }
    const std::string store = impl_->findContext(fingerprint, "").store;
    try {
        impl_->certificateStore->remove(store, fingerprint);
    } catch (const CertificateStoreError& error) {
        throwStoreError(error, "CertDeleteCertificateFromStore");
    }
    impl_->foundSlot.clear();
}

KeyPair SystemRepository::generateKeyPair(const std::wstring& keyName, int)
{
    // The key is made exportable on purpose: it waits in an archive until
    // its certificate comes, and goes into the stores through PKCS#12.
    // Strong protection has nothing to add on this key store: the token's
    // PIN guards every key alike.
    try {
        const std::string name = utf8(keyName);
        KeyStore& keys = *impl_->keyStore;
        // A key of that name is replaced, as a container gets a new key;
        // but only a key that could leave the store anyway: the agent's own
        // key shares the namespace and must never be lost this way.
        if (keys.hasKey(name)) {
            try {
                keys.exportPrivateKey(name);
            } catch (const KeyStoreError&) {
                throw KeyPairGenerationException("A key named \"" + name + "\" exists and cannot be replaced");
            }
            keys.destroyKey(name);
        }
        KeyPair pair;
        // 2048 bits, whatever was asked, as the keys of requests always had.
        static_cast<PublicKey&>(pair) = keys.createKey(name, true, 2048);
        EvpPkeyPtr exported = keys.exportPrivateKey(name);
        if (!exported)
            throw KeyPairGenerationException("Could not create EVP_PKEY structure");
        impl_->pendingArchives.emplace_back(shareKey(exported.release()), keyName, std::wstring());
        pair.privateKey = std::make_shared<KeyStorePrivateKey>(name, true);
        return pair;
    } catch (const KeyPairGenerationException&) {
        throw;
    } catch (const std::exception& error) {
        throw KeyPairGenerationException(error.what());
    }
}

bool SystemRepository::addCertificate(const Certificate& certificate)
{
    try {
        if (certificate.isEndEntity()) {
            auto& pending = impl_->pendingArchives;
            for (auto archive = pending.begin(); archive != pending.end(); ++archive) {
                if (!archive->addCertificate(certificate))
                    continue;
                std::stringstream transit;
                archive->saveArchive(transitPassword, transit);
                importPfx(transit, transitPassword, ProviderLink{}, false);
                pending.erase(archive);
                return true;
            }
        }
        const char* store = certificate.isEndEntity() ? "AddressBook" : certificate.isRoot() ? "ROOT" : "CA";
        try {
            // An entry that is there already is no failure; the answer is
            // false then.
            return impl_->certificateStore->add(store, StoreEntry{certificate, std::nullopt, std::nullopt});
        } catch (const CertificateStoreError& error) {
            throwStoreError(error, "CertAddEncodedCertificateToStore");
        }
    } catch (const CapiException& error) {
        // Only the store's own failures are translated; the family's other
        // exceptions (a certificate not found, an archive that cannot be
        // written) reach the caller as they are.
        throw CertificateAdditionException(error.what());
    }
}

void SystemRepository::importPfx(std::istream& stream, const std::wstring& password, const ProviderLink& link,
                                 bool setLink)
{
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (bytes.size() >= (std::size_t{1} << 32))
        throw std::overflow_error("bad numeric conversion: positive overflow");

    const char* const importLabel = "PFXImportCertStore";
    const auto* cursor = reinterpret_cast<const unsigned char*>(bytes.data());
    Pkcs12Ptr pkcs12(d2i_PKCS12(nullptr, &cursor, static_cast<long>(bytes.size())));
    EVP_PKEY* rawKey = nullptr;
    X509* rawCertificate = nullptr;
    STACK_OF(X509)* rawCas = nullptr;
    const std::string narrowPassword = utf8(password);
    if (!pkcs12 || PKCS12_parse(pkcs12.get(), narrowPassword.c_str(), &rawKey, &rawCertificate, &rawCas) != 1) {
        ERR_clear_error();
        throw CapiException("The PKCS#12 content cannot be read with this password", importLabel);
    }
    EvpPkeyPtr key(rawKey);
    X509Ptr keyCertificate(rawCertificate);
    X509StackPtr cas(rawCas);

    // The key goes into the key store, unless it stands there already (a
    // key generated for a request): the entry is linked to where it is.
    std::optional<KeyProviderInfo> keyLink;
    if (key) {
        try {
            KeyStore& keys = *impl_->keyStore;
            const PublicKey publicKey = PublicKey::fromEvp(key.get());
            std::string container = setLink ? utf8(link.containerName) : std::string();
            if (container.empty()) {
                const std::optional<std::string> found = keys.findKey(publicKey);
                container = found ? *found : newContainerName();
            }
            if (!keys.hasKey(container))
                keys.importPrivateKey(container, key.get(), true);
            else if (keys.publicKey(container) != publicKey)
                throw KeyStoreError(KeyStoreError::Kind::KeyExists,
                                    "Another key is stored under the name \"" + container + "\"");
            keyLink = KeyProviderInfo{narrowConverter.from_bytes(container), localKeyProviderName,
                                      providerTypeRsaAes, 0, keySpecSignature};
        } catch (const KeyStoreError& error) {
            throwKeyError(error, importLabel);
        }
    }

    // With `setLink` every certificate of the archive is linked to the key,
    // the authorities too. Without it only the key's own certificate is.
    if (setLink && !keyLink)
        keyLink = KeyProviderInfo{link.containerName, localKeyProviderName, providerTypeRsaAes, 0, keySpecSignature};
    const std::optional<KeyProviderInfo> authorityLink = setLink ? keyLink : std::nullopt;
    // Authorities first, the key's own certificate last: the last one is
    // the one that gets the friendly name.
    std::vector<StoreEntry> entries;
    for (int i = 0; cas && i < sk_X509_num(cas.get()); ++i)
        entries.push_back(StoreEntry{Certificate::fromHandle(sk_X509_value(cas.get(), i)), authorityLink, std::nullopt});
    if (keyCertificate)
        entries.push_back(StoreEntry{Certificate::fromHandle(keyCertificate.get()), keyLink, std::nullopt});

    std::string lastFingerprint;
    std::wstring friendlyName;
    try {
        for (const StoreEntry& entry : entries) {
            // An entry that is there already stays as it is.
            impl_->certificateStore->add("MY", entry);
            lastFingerprint = entry.certificate.fingerprint();
            friendlyName = narrowConverter.from_bytes(entry.certificate.detail().subjectDisplayName);
        }
    } catch (const CertificateStoreError& error) {
        throwStoreError(error, "CertAddCertificateContextToStore");
    }
    if (lastFingerprint.empty())
        return;
    const Slot& slot = impl_->findContext(lastFingerprint, "");
    try {
        impl_->certificateStore->update(slot.store, lastFingerprint,
                                        [&](StoreEntry& entry) { entry.friendlyName = friendlyName; });
    } catch (const CertificateStoreError& error) {
        throwStoreError(error, "CertSetCertificateContextProperty");
    }
}

} // namespace valmora::signer
