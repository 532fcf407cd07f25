#include "tests/signer/SignerTestSupport.h"

#include "signer/OpenSslPtr.h"

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace orvane::test::signer {

using namespace valmora::signer;

std::string icpBrasil(const std::string& relative)
{
    return std::string(ORVANE_SHARED_TESTDATA_DIR) + "/icp-brasil/" + relative;
}

Certificate loadCertificate(const std::string& relative)
{
    return Certificate::fromText(readFileBytes(icpBrasil(relative)));
}

std::vector<std::string> identityFields(const CertificateDetail& detail)
{
    if (const auto* p = dynamic_cast<const PersonDescription*>(detail.identity.get()))
        return {p->birthDate, p->cpf,     p->pis,       p->rg,           p->rgIssuer,
                p->cei,       p->voterId, p->voterZone, p->voterSection, p->voterCity};
    if (const auto* c = dynamic_cast<const CompanyDescription*>(detail.identity.get()))
        return {c->birthDate, c->cpf, c->pis, c->rg, c->rgIssuer, c->responsibleName, c->cnpj, c->cei};
    return {};
}

std::vector<std::string> realFiles(const std::string& relative)
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(icpBrasil(relative)))
        if (entry.path().extension() == ".pem")
            files.push_back(relative + "/" + entry.path().filename().string());
    std::sort(files.begin(), files.end());
    return files;
}

namespace {

void setName(X509* x509, const std::vector<std::pair<std::string, std::string>>& entries, bool issuer)
{
    X509_NAME* name = X509_NAME_new();
    for (const auto& [field, value] : entries)
        // Empty values are below the size limits of OpenSSL's string table;
        // a typed string goes in as it stands.
        if (X509_NAME_add_entry_by_txt(name, field.c_str(), value.empty() ? V_ASN1_UTF8STRING : MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char*>(value.data()),
                                       static_cast<int>(value.size()), -1, 0)
            != 1)
            throw std::runtime_error("bad name entry " + field);
    (issuer ? X509_set_issuer_name : X509_set_subject_name)(x509, name);
    X509_NAME_free(name);
}

void setTime(X509* x509, const std::string& text, bool after)
{
    ASN1_TIME* time = ASN1_TIME_new();
    if (ASN1_TIME_set_string(time, text.c_str()) != 1)
        throw std::runtime_error("bad time " + text);
    (after ? X509_set1_notAfter : X509_set1_notBefore)(x509, time);
    ASN1_TIME_free(time);
}

} // namespace

EVP_PKEY* testKey()
{
    static EVP_PKEY* const key = EVP_RSA_gen(2048);
    return key;
}

EVP_PKEY* otherTestKey()
{
    static EVP_PKEY* const key = EVP_RSA_gen(2048);
    return key;
}

std::shared_ptr<EVP_PKEY> sharedTestKey()
{
    EVP_PKEY_up_ref(testKey());
    return shareKey(testKey());
}

CertificateBuilder::CertificateBuilder()
    : x509_(X509_new()), altNames_(nullptr), publicKey_(nullptr), signingKey_(nullptr)
{
    X509_set_version(x509_, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(x509_), 1);
    setTime(x509_, "20240101000000Z", false);
    setTime(x509_, "20340101000000Z", true);
}

CertificateBuilder::~CertificateBuilder()
{
    X509_free(x509_);
    GENERAL_NAMES_free(altNames_);
}

CertificateBuilder& CertificateBuilder::subject(const std::vector<std::pair<std::string, std::string>>& entries)
{
    setName(x509_, entries, false);
    return *this;
}

CertificateBuilder& CertificateBuilder::issuer(const std::vector<std::pair<std::string, std::string>>& entries)
{
    setName(x509_, entries, true);
    return *this;
}

CertificateBuilder& CertificateBuilder::serial(long value)
{
    ASN1_INTEGER_set(X509_get_serialNumber(x509_), value);
    return *this;
}

CertificateBuilder& CertificateBuilder::notBefore(const std::string& text)
{
    setTime(x509_, text, false);
    return *this;
}

CertificateBuilder& CertificateBuilder::notAfter(const std::string& text)
{
    setTime(x509_, text, true);
    return *this;
}

CertificateBuilder& CertificateBuilder::otherName(const std::string& oid, const std::string& value, int asn1Type)
{
    ASN1_STRING* string = ASN1_STRING_type_new(asn1Type);
    ASN1_STRING_set(string, value.data(), static_cast<int>(value.size()));
    ASN1_TYPE* typed = ASN1_TYPE_new();
    ASN1_TYPE_set(typed, asn1Type, string);
    GENERAL_NAME* name = GENERAL_NAME_new();
    GENERAL_NAME_set0_othername(name, OBJ_txt2obj(oid.c_str(), 1), typed);
    if (!altNames_)
        altNames_ = GENERAL_NAMES_new();
    sk_GENERAL_NAME_push(altNames_, name);
    return *this;
}


CertificateBuilder& CertificateBuilder::publicKey(EVP_PKEY* key)
{
    publicKey_ = key;
    return *this;
}

CertificateBuilder& CertificateBuilder::signWith(EVP_PKEY* key)
{
    signingKey_ = key;
    return *this;
}

CertificateBuilder& CertificateBuilder::extension(const std::string& name, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx(&context, x509_, x509_, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf(nullptr, &context, name.c_str(), value.c_str());
    if (!extension)
        throw std::runtime_error("bad extension " + name + "=" + value);
    X509_add_ext(x509_, extension, -1);
    X509_EXTENSION_free(extension);
    return *this;
}

Bytes CertificateBuilder::der()
{
    if (X509_NAME_entry_count(X509_get_subject_name(x509_)) == 0
        && X509_NAME_entry_count(X509_get_issuer_name(x509_)) == 0)
        subject({{"CN", "Test"}});
    if (X509_NAME_entry_count(X509_get_issuer_name(x509_)) == 0)
        X509_set_issuer_name(x509_, X509_get_subject_name(x509_));
    X509_set_pubkey(x509_, publicKey_ ? publicKey_ : testKey());
    if (altNames_)
        X509_add1_ext_i2d(x509_, NID_subject_alt_name, altNames_, 0, X509V3_ADD_REPLACE);
    if (X509_sign(x509_, signingKey_ ? signingKey_ : testKey(), EVP_sha256()) <= 0)
        throw std::runtime_error("cannot sign test certificate");
    unsigned char* der = nullptr;
    const int length = i2d_X509(x509_, &der);
    Bytes bytes(der, der + length);
    OPENSSL_free(der);
    return bytes;
}

Certificate CertificateBuilder::build()
{
    const Certificate certificate = Certificate::fromDer(der());
    if (certificate.isNull())
        throw std::runtime_error("test certificate does not parse");
    return certificate;
}

} // namespace orvane::test::signer
