#pragma once

#include "signer/CertificateDetail.h"
#include "signer/DistinguishedName.h"
#include "signer/Encoding.h"
#include "signer/PublicKey.h"

#include <openssl/types.h>

#include <memory>
#include <string>
#include <vector>

namespace valmora::signer {

class CertificateImpl;

// One parsed X.509 certificate, shared by all its copies. A certificate made
// by fromDer from bytes that are no certificate holds no handle (isNull());
// its accessors then answer empty values instead of touching OpenSSL.
class Certificate {
public:
    Certificate();

    // PEM, raw DER bytes, or base64 of DER, tried in that order. Throws
    // std::invalid_argument when none of them gives a certificate.
    static Certificate fromText(const std::string& text);
    // Never throws; a null certificate when the bytes are no certificate.
    static Certificate fromDer(const unsigned char* bytes, std::size_t length);
    static Certificate fromDer(const Bytes& bytes);
    // Takes a copy of the handle.
    static Certificate fromHandle(const X509* handle);

    bool isNull() const;
    // The parsed certificate, owned by this value; null for a null one.
    X509* handle() const;

    Bytes toDer() const;
    std::string toPem() const;

    // SHA-1 of the DER by hexWithBlanks; computed once at parsing.
    const std::string& fingerprint() const;
    std::string serialNumber() const;
    DistinguishedName subjectName() const;
    DistinguishedName issuerName() const;

    // First common name of the subject; BaseException "Name Entry Not Found"
    // when there is none.
    std::string commonName() const;
    // The last common name, else the last organizational unit, else the last
    // organization of a name; empty for an empty name.
    static std::string displayName(const X509_NAME* name);

    PublicKey publicKey() const;
    static std::string publicKeyPem(const PublicKey& publicKey);

    bool isLegacyRoot() const;
    bool isCa() const;
    bool isEndEntity() const;
    bool allowsSubCas() const;
    bool isRoot() const;
    bool isIntermediateCa() const;
    bool isFinalCa() const;

    // Whether the certificate's signature verifies with this RSA key.
    bool isVerifiedBy(const PublicKey& publicKey) const;
    // Whether it verifies with the key of `issuer`, whatever its algorithm.
    bool isVerifiedBy(const Certificate& issuer) const;

    std::vector<std::string> keyUsageNames() const;
    std::vector<std::string> policyOids() const;
    DateTimeInterval validity() const;
    CertificateDetail detail() const;

    // Same object, or same fingerprint.
    bool operator==(const Certificate& other) const;
    bool operator!=(const Certificate& other) const;

private:
    explicit Certificate(std::shared_ptr<CertificateImpl> impl);

    std::shared_ptr<CertificateImpl> impl_;
};

// Reads the identity fields of the ICP-Brasil otherName entries of a subject
// alternative name; exposed for the tests of its cutting rules.
std::int32_t identityFields(const X509* certificate, std::shared_ptr<IdentityDescription>& identity);

} // namespace valmora::signer
