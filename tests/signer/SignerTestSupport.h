#pragma once

// Helpers shared by the signer suites: the real ICP-Brasil files, the
// openssl tool and certificates made on the spot for corner cases.

#include "signer/Certificate.h"
#include "tests/mock/FailureText.h"
#include "tests/mock/OpenSslTool.h"
#include "tests/mock/TempDir.h"

#include <openssl/x509v3.h>

#include <memory>
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

// The identity values of a detail in the order of the description's members
// (person: birth date, CPF, PIS, RG, issuer, CEI, voter id, zone, section,
// city; company: birth date, CPF, PIS, RG, issuer, responsible, CNPJ, CEI).
std::vector<std::string> identityFields(const valmora::signer::CertificateDetail& detail);

// The real certificates of a folder ("ca/roots", "ca/intermediates",
// "end-entity", "ca/test-pki": the test PKIs of Lacuna and of the NF-e), as
// names for icpBrasil() and loadCertificate().
std::vector<std::string> realFiles(const std::string& folder);

// An RSA key, made once per process (generation is slow).
EVP_PKEY* testKey();
EVP_PKEY* otherTestKey();
// testKey() as repositories hold their keys.
std::shared_ptr<EVP_PKEY> sharedTestKey();

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
    // The names replace a "subjectAltName" given as an extension.
    CertificateBuilder& otherName(const std::string& oid, const std::string& value,
                                  int asn1Type = V_ASN1_OCTET_STRING);
    // Extensions by OpenSSL configuration text, e.g. ("basicConstraints", "critical,CA:TRUE").
    CertificateBuilder& extension(const std::string& name, const std::string& value);
    CertificateBuilder& publicKey(EVP_PKEY* key);
    CertificateBuilder& signWith(EVP_PKEY* key);

    Certificate build();
    Bytes der();

private:
    X509* x509_;
    GENERAL_NAMES* altNames_;
    EVP_PKEY* publicKey_;
    EVP_PKEY* signingKey_;
};

} // namespace orvane::test::signer
