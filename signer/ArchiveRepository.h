#pragma once

#include "signer/Repository.h"

#include <openssl/types.h>

#include <istream>
#include <memory>
#include <ostream>
#include <string>

namespace valmora::signer {

enum class ArchiveState : std::int32_t {
    NotLogged = 0,          // a PKCS#12 content is held, nothing read from it yet
    Logged = 1,             // content read or written: key, certificate and CAs are there
    Empty = 2,              // nothing is held
    KeyOnly = 3,            // a private key without its certificate
    KeyAndCertificate = 4,  // a private key with its certificate
};

class ArchiveRepositoryImpl;

// A repository over one PKCS#12 content in memory: at most one private key,
// its certificate, and a list of CA certificates. It is where a generated
// key waits for its certificate before the whole is written out as PKCS#12.
// Clones share the content.
class ArchiveRepository : public Repository {
public:
    // Nothing held (Empty).
    ArchiveRepository();
    // Holds a key without certificate (KeyOnly).
    ArchiveRepository(std::shared_ptr<EVP_PKEY> privateKey, std::wstring keyName, std::wstring secondName);
    // Holds a PKCS#12 content read from the stream, to be opened by login
    // (NotLogged). Content that is no PKCS#12 throws RepositoryAccessException.
    explicit ArchiveRepository(std::istream& pkcs12);

    std::unique_ptr<Repository> clone() const override;
    void login(const std::wstring& password) override;
    bool addCertificate(const Certificate& certificate) override;
    void visitCertificates(RepositoryFilter filter, const CertificateVisitor& visitor) override;
    KeyPair generateKeyPair(const std::wstring& keyName, int bits) override;
    PrivateKeyHandle privateKeyOf(const Certificate& certificate) override;
    Bytes signDigest(const std::string& hashName, const Bytes& digest, const PrivateKeyHandle& key) override;
    Bytes decrypt(const Bytes& bytes, const PrivateKeyHandle& key) override;

    // Writes key, certificate and CAs as PKCS#12 under `password`, with the
    // certificate's common name as friendly name. Afterwards the object
    // holds what it wrote (Logged).
    void saveArchive(const std::wstring& password, std::ostream& stream);

    ArchiveState state() const;
    const std::wstring& keyName() const;
    const std::wstring& secondName() const;
    // The held certificate; null when there is none.
    Certificate certificate() const;

private:
    std::shared_ptr<ArchiveRepositoryImpl> impl_;
};

} // namespace valmora::signer
