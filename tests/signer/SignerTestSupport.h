#pragma once

// Helpers shared by the signer suites: the real ICP-Brasil files, the
// openssl tool, certificates made on the spot for corner cases, and a plain
// in-memory repository for the searches that Repository builds.

#include "signer/Certificate.h"
#include "signer/Repository.h"
#include "tests/mock/FailureText.h"
#include "tests/mock/OpenSslTool.h"
#include "tests/mock/TempDir.h"

#include <openssl/x509v3.h>

#include <string>
#include <utility>
#include <vector>

namespace orvane::test::signer {

using valmora::signer::Bytes;
using valmora::signer::Certificate;

std::string icpBrasil(const std::string& relative);
inline std::string readFileBytes(const std::string& path) { return orvane::test::readFile(path); }
Certificate loadCertificate(const std::string& relative);

using orvane::test::asText;
using orvane::test::failureOf;
using orvane::test::openssl;
using orvane::test::opensslStatus;
using orvane::test::opensslVerifies;

// Whole-file names of the real certificates.
std::vector<std::string> realRoots();
std::vector<std::string> realIntermediates();
std::vector<std::string> realEndEntities();
std::vector<std::string> realTestAuthorities();  // the test PKIs of Lacuna and of the NF-e

// An RSA key, made once per process (generation is slow).
EVP_PKEY* testKey();
EVP_PKEY* otherTestKey();

// Builds a certificate with the OpenSSL API. Only what a case sets is put
// in; it is signed with testKey() unless another key is given.
class CertificateBuilder {
public:
    CertificateBuilder();
    ~CertificateBuilder();
    CertificateBuilder(const CertificateBuilder&) = delete;
    CertificateBuilder& operator=(const CertificateBuilder&) = delete;

    CertificateBuilder& subject(const std::vector<std::pair<std::string, std::string>>& entries);
    CertificateBuilder& issuer(const std::vector<std::pair<std::string, std::string>>& entries);
    CertificateBuilder& serial(long value);
    // Times as written: 13 characters make a UTCTime, 15 a GeneralizedTime.
    CertificateBuilder& notBefore(const std::string& text);
    CertificateBuilder& notAfter(const std::string& text);
    // An otherName of the subject alternative name; `asn1Type` is
    // V_ASN1_OCTET_STRING, V_ASN1_PRINTABLESTRING, V_ASN1_UTF8STRING...
    CertificateBuilder& otherName(const std::string& oid, const std::string& value,
                                  int asn1Type = V_ASN1_OCTET_STRING);
    CertificateBuilder& email(const std::string& address);
    // Extensions by OpenSSL configuration text, e.g. ("basicConstraints", "critical,CA:TRUE").
    CertificateBuilder& extension(const std::string& name, const std::string& value);
    CertificateBuilder& publicKey(EVP_PKEY* key);
    CertificateBuilder& signWith(EVP_PKEY* key);

    Certificate build();
    Bytes der();

private:
    CertificateBuilder& altName(GENERAL_NAME* name);

    X509* x509_;
    GENERAL_NAMES* altNames_;
    EVP_PKEY* publicKey_;
    EVP_PKEY* signingKey_;
};

// A repository over a list of certificates, for the algorithms of the base
// class. It has no keys.
class MemoryRepository : public valmora::signer::Repository {
public:
    explicit MemoryRepository(std::vector<Certificate> certificates = {});

    std::unique_ptr<Repository> clone() const override;
    bool addCertificate(const Certificate& certificate) override;
    void visitCertificates(valmora::signer::RepositoryFilter filter,
                           const valmora::signer::CertificateVisitor& visitor) override;
    valmora::signer::KeyPair generateKeyPair(const std::wstring& keyName, int bits) override;
    valmora::signer::PrivateKeyHandle privateKeyOf(const Certificate& certificate) override;
    Bytes signDigest(const std::string& hashName, const Bytes& digest,
                     const valmora::signer::PrivateKeyHandle& key) override;
    Bytes decrypt(const Bytes& bytes, const valmora::signer::PrivateKeyHandle& key) override;

    int visits = 0;  // certificates handed to visitors

private:
    std::vector<Certificate> certificates_;
};

} // namespace orvane::test::signer
