#pragma once

#include "signer/Certificate.h"
#include "signer/CertificateRequest.h"
#include "signer/Encoding.h"
#include "signer/RepositoryTypes.h"

#include <memory>
#include <string>
#include <vector>

namespace valmora::signer {

// A place where certificates and private keys live. Concrete repositories
// supply the visit, the keys and the raw signature; this class builds the
// searches, certification paths, signing through a certificate and PKCS#10
// requests on top of them. Repositories are cloned, not shared: a clone is
// a new object that shares its source's implementation.
class Repository {
public:
    Repository();
    Repository(const Repository&) = default;
    Repository& operator=(const Repository&) = default;

    virtual std::unique_ptr<Repository> clone() const = 0;
    virtual void login(const std::wstring& password);
    virtual void accessHook();
    virtual void forEachCertificate(RepositoryFilter filter, const CertificateAction& action);
    virtual Certificate findByFingerprint(const std::string& fingerprint);
    virtual Certificate findByIssuerAndSerial(const DistinguishedName& issuer, const std::string& serial);
    // The CA whose subject is the certificate's issuer and whose key verifies
    // its signature; authorities that share a name are told apart by the key.
    virtual Certificate findIssuer(const Certificate& certificate);
    virtual CertificateChain buildChain(const Certificate& certificate);
    virtual CertificateRequest createRequest(const std::wstring& keyName,
                                             const std::vector<SubjectEntry>& subjectEntries,
                                             const std::vector<AltNameEntry>& altNames, int bits);
    virtual CertificateRequest createDefaultRequest(const std::wstring& keyName, int bits);
    virtual bool addCertificate(const Certificate& certificate) = 0;
    virtual Bytes signWithCertificate(const Bytes& bytes, const Certificate& certificate,
                                      const std::string& hashName);
    virtual Bytes signDigestWithCertificate(const Bytes& digest, const Certificate& certificate,
                                            const std::string& hashName);
    virtual Bytes decryptWithCertificate(const Bytes& bytes, const Certificate& certificate);
    virtual void visitCertificates(RepositoryFilter filter, const CertificateVisitor& visitor) = 0;
    virtual Certificate findFirst(const CertificatePredicate& predicate);
    virtual KeyPair generateKeyPair(const std::wstring& keyName, int bits) = 0;
    virtual PrivateKeyHandle privateKeyOf(const Certificate& certificate) = 0;
    // Digests `bytes` with `hashName` and signs the digest; with an empty
    // hash name the bytes go to signDigest as they are.
    virtual Bytes sign(const Bytes& bytes, const PrivateKeyHandle& key, const std::string& hashName);
    virtual Bytes signDigest(const std::string& hashName, const Bytes& digest, const PrivateKeyHandle& key) = 0;
    virtual Bytes decrypt(const Bytes& bytes, const PrivateKeyHandle& key) = 0;
    virtual ~Repository();

    // The value of "O" in the subject of createDefaultRequest.
    static const char* const defaultRequestDomain;

    // The e-mail address expression that rfc822Name alternative names must
    // match as a whole to be put into a request.
    static bool isAcceptedEmail(const std::string& address);

private:
    CertificateRequest buildRequest(const std::wstring& keyName, const std::vector<SubjectEntry>* subjectEntries,
                                    const std::vector<AltNameEntry>* altNames, int bits);
};

} // namespace valmora::signer
