#pragma once

#include "signer/ProviderLink.h"
#include "signer/Repository.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <string>

namespace valmora::signer {

class CertificateStore;
class KeyStore;
class SystemRepositoryImpl;

// The repository over the user's own certificate stores ("MY",
// "AddressBook", "CA", "ROOT") and the user's key store: the one that the
// running agent uses. It creates and opens the agent's own key by name and
// signs with it, keeps the "MY" entries that point other programs at the
// remote keys, and holds keys generated for certificate requests until their
// certificates arrive.
//
// Several objects may exist at once, each with its own search and walk state;
// clone() gives one that shares the state of its source. Objects that remove
// certificates during a walk are made for that one task (see
// removeCertificate).
class SystemRepository : public Repository {
public:
    // The user's stores: the certificate folders and the key token under the
    // user's "Orvane" folder (or the key module named in the configuration).
    // Nothing is opened before it is needed.
    SystemRepository();
    // Explicit stores, shared with whoever else holds them.
    SystemRepository(std::shared_ptr<KeyStore> keyStore, std::shared_ptr<CertificateStore> certificateStore);

    // The one object that signs the agent's own requests (process-wide).
    static SystemRepository& processWide();

    // The agent's own named key: RSA of `bits` bits (the agent asks for
    // 2048), never to leave the key store. A name in use fails.
    PublicKey createNamedKey(const std::wstring& keyName, std::uint32_t bits);
    PublicKey publicKeyOfNamedKey(const std::wstring& keyName);
    // Digests `data` with `hashName` and signs with RSA PKCS#1 v1.5; an empty
    // hash name signs `data` as it stands (a prepared DigestInfo).
    Bytes signWithNamedKey(const Bytes& data, const std::wstring& keyName, const std::string& hashName);
    // Whether the key store holds a key of this name.
    bool hasNamedKey(const std::wstring& keyName);

    // Publication into "MY".
    // Calls `visitor` with each certificate of "MY" linked to `providerName`.
    void certificatesOfProvider(const std::wstring& providerName, const CertificateAction& visitor);
    // Makes sure that the certificate stands in "MY" with exactly this link.
    void bindToProvider(const Certificate& certificate, const ProviderLink& link);
    // Removes the certificate from whichever store holds it. During a walk
    // of the stores the certificate walked on is removed when the walk ends.
    void removeCertificate(const Certificate& certificate);
    // Puts the certificates of a PKCS#12 content into "MY" and their keys
    // into the key store; the last certificate gets its subject's display
    // name as friendly name. With `setLink`, the entries are linked to the
    // container of `link` in the local key store.
    void importPfx(std::istream& stream, const std::wstring& password, const ProviderLink& link, bool setLink);

    // Read by generateKeyPair; nothing in the program sets it.
    bool strongKeyProtection() const { return strongKeyProtection_; }
    void setStrongKeyProtection(bool value) { strongKeyProtection_ = value; }

    const std::shared_ptr<KeyStore>& keyStore() const;
    const std::shared_ptr<CertificateStore>& certificateStore() const;

    std::unique_ptr<Repository> clone() const override;
    Certificate findByFingerprint(const std::string& fingerprint) override;
    CertificateChain buildChain(const Certificate& certificate) override;
    bool addCertificate(const Certificate& certificate) override;
    void visitCertificates(RepositoryFilter filter, const CertificateVisitor& visitor) override;
    KeyPair generateKeyPair(const std::wstring& keyName, int bits) override;
    PrivateKeyHandle privateKeyOf(const Certificate& certificate) override;
    Bytes sign(const Bytes& bytes, const PrivateKeyHandle& key, const std::string& hashName) override;
    Bytes signDigest(const std::string& hashName, const Bytes& digest, const PrivateKeyHandle& key) override;
    Bytes decrypt(const Bytes& bytes, const PrivateKeyHandle& key) override;

    // The transit password of a generated key on its way into the stores.
    static const wchar_t* const transitPassword;

private:
    std::shared_ptr<SystemRepositoryImpl> impl_;
    bool strongKeyProtection_ = false;
};

} // namespace valmora::signer
