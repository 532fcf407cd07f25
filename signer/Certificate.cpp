#include "signer/Certificate.h"

#include "signer/Encoding.h"
#include "signer/Exceptions.h"
#include "signer/ObjectText.h"
#include "signer/OpenSslPtr.h"
#include "signer/PolicyTable.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <climits>
#include <cstring>
#include <mutex>
#include <stdexcept>

namespace valmora::signer {

namespace {

const EVP_MD* sha1Method()
{
    static const EVP_MD* const method = EVP_get_digestbyname("sha1");
    return method;
}

std::string computeFingerprint(const X509* certificate)
{
    unsigned char buffer[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (!sha1Method() || X509_digest(certificate, sha1Method(), buffer, &length) != 1) {
        ERR_clear_error();
        return {};
    }
    return hexWithBlanks(buffer, length);
}

// OpenSSL takes some encodings that are no DER and writes them out in a form
// that it cannot read again. What the agent keeps of a certificate is that
// written form (the identity document, the certificate store), so such a
// certificate would be lost at the next start: it is refused on arrival.
bool readsBack(const X509* certificate, const std::string& fingerprint)
{
    unsigned char* der = nullptr;
    const int length = i2d_X509(certificate, &der);
    OpensslBytesPtr owner(der);
    const unsigned char* cursor = der;
    const X509Ptr again(length > 0 ? d2i_X509(nullptr, &cursor, length) : nullptr);
    if (!again) {
        ERR_clear_error();
        return false;
    }
    return computeFingerprint(again.get()) == fingerprint;
}

// Decodes the first extension of a type, or nothing. Unlike
// X509_get_ext_d2i this does not give up when a type appears twice.
void* decodeFirstExtension(const X509* certificate, int nid)
{
    const int index = X509_get_ext_by_NID(certificate, nid, -1);
    if (index < 0)
        return nullptr;
    X509_EXTENSION* extension = X509_get_ext(certificate, index);
    void* decoded = extension ? X509V3_EXT_d2i(extension) : nullptr;
    if (!decoded)
        ERR_clear_error();
    return decoded;
}

std::string valueOfFirst(const X509_NAME* name, int nid)
{
    const int index = X509_NAME_get_index_by_NID(name, nid, -1);
    if (index < 0)
        return {};
    return stringUpToZero(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
}

// One row of the ICP-Brasil otherName layouts.
struct IdentityRow {
    const char* oid;
    std::int32_t kind;
    void (*cut)(IdentityDescription& target, const unsigned char* begin, const unsigned char* end);
};

// A field of `width` bytes at the cursor. When it would run past the end the
// field is empty and the cursor stays, so a narrower field after it may
// still be cut from the same place.
std::string cutField(const unsigned char*& cursor, std::size_t width, const unsigned char* end)
{
    if (static_cast<std::size_t>(end - cursor) < width)
        return {};
    std::string field(reinterpret_cast<const char*>(cursor), width);
    cursor += width;
    return field;
}

std::string rest(const unsigned char* begin, const unsigned char* end)
{
    return std::string(reinterpret_cast<const char*>(begin), static_cast<std::size_t>(end - begin));
}

template <class Description>
void cutPersonalData(IdentityDescription& target, const unsigned char* cursor, const unsigned char* end)
{
    auto& description = static_cast<Description&>(target);
    description.birthDate = cutField(cursor, 8, end);
    description.cpf = cutField(cursor, 11, end);
    description.pis = cutField(cursor, 11, end);
    description.rg = cutField(cursor, 15, end);
    description.rgIssuer = cutField(cursor, 6, end);
}

const IdentityRow identityRows[] = {
    {"2.16.76.1.3.1", PersonIdentity, cutPersonalData<PersonDescription>},
    {"2.16.76.1.3.6", PersonIdentity,
     [](IdentityDescription& target, const unsigned char* begin, const unsigned char* end) {
         static_cast<PersonDescription&>(target).cei = rest(begin, end);
     }},
    {"2.16.76.1.3.5", PersonIdentity,
     [](IdentityDescription& target, const unsigned char* cursor, const unsigned char* end) {
         auto& person = static_cast<PersonDescription&>(target);
         person.voterId = cutField(cursor, 12, end);
         person.voterZone = cutField(cursor, 3, end);
         person.voterSection = cutField(cursor, 4, end);
         person.voterCity = cutField(cursor, 22, end);
     }},
    {"2.16.76.1.3.4", CompanyIdentity, cutPersonalData<CompanyDescription>},
    {"2.16.76.1.3.2", CompanyIdentity,
     [](IdentityDescription& target, const unsigned char* begin, const unsigned char* end) {
         static_cast<CompanyDescription&>(target).responsibleName = rest(begin, end);
     }},
    {"2.16.76.1.3.3", CompanyIdentity,
     [](IdentityDescription& target, const unsigned char* begin, const unsigned char* end) {
         static_cast<CompanyDescription&>(target).cnpj = rest(begin, end);
     }},
    {"2.16.76.1.3.7", CompanyIdentity,
     [](IdentityDescription& target, const unsigned char* begin, const unsigned char* end) {
         static_cast<CompanyDescription&>(target).cei = rest(begin, end);
     }},
};

} // namespace

class CertificateImpl {
public:
    explicit CertificateImpl(X509Ptr certificate)
        : x509(std::move(certificate)), fingerprint(computeFingerprint(x509.get()))
    {
    }

    const X509Ptr x509;
    // Stores and listings compare certificates by fingerprint over and over;
    // it is worked out once here.
    const std::string fingerprint;
};

Certificate::Certificate() = default;

Certificate::Certificate(std::shared_ptr<CertificateImpl> impl) : impl_(std::move(impl)) {}

Certificate Certificate::fromText(const std::string& text)
{
    initialiseOpenSsl();
    // Failed attempts leave entries in the thread's error queue that would
    // later be blamed on an unrelated call.
    ERR_set_mark();
    if (text.size() <= static_cast<std::size_t>(INT_MAX)) {
        BioPtr bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
        if (bio) {
            if (X509* parsed = PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr)) {
                auto impl = std::make_shared<CertificateImpl>(X509Ptr(parsed));
                if (readsBack(impl->x509.get(), impl->fingerprint)) {
                    ERR_pop_to_mark();
                    return Certificate(std::move(impl));
                }
            }
        }
    }
    Certificate certificate = fromDer(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    if (certificate.isNull()) {
        try {
            const Bytes der = base64Decode(std::string(text));
            certificate = fromDer(der);
        } catch (const std::invalid_argument&) {
            // Not base64 either: reported below as a whole.
        }
    }
    ERR_pop_to_mark();
    if (certificate.isNull())
        throw std::invalid_argument("Base64 passado [" + text + "] n" "\xEF\xBF\xBD" "o " "\xEF\xBF\xBD" " v"
                                    "\xEF\xBF\xBD" "lido");
    return certificate;
}

Certificate Certificate::fromDer(const unsigned char* bytes, std::size_t length)
{
    initialiseOpenSsl();
    if (!bytes || length == 0 || length > static_cast<std::size_t>(LONG_MAX))
        return Certificate();
    const unsigned char* cursor = bytes;
    X509* parsed = d2i_X509(nullptr, &cursor, static_cast<long>(length));
    if (!parsed) {
        ERR_clear_error();
        return Certificate();
    }
    auto impl = std::make_shared<CertificateImpl>(X509Ptr(parsed));
    if (!readsBack(impl->x509.get(), impl->fingerprint))
        return Certificate();
    return Certificate(std::move(impl));
}

Certificate Certificate::fromDer(const Bytes& bytes) { return fromDer(bytes.data(), bytes.size()); }

Certificate Certificate::fromHandle(const X509* handle)
{
    initialiseOpenSsl();
    if (!handle)
        return Certificate();
    X509* copy = X509_dup(handle);
    if (!copy) {
        ERR_clear_error();
        return Certificate();
    }
    return Certificate(std::make_shared<CertificateImpl>(X509Ptr(copy)));
}

bool Certificate::isNull() const { return !impl_ || !impl_->x509; }

X509* Certificate::handle() const { return impl_ ? impl_->x509.get() : nullptr; }

Bytes Certificate::toDer() const
{
    if (isNull())
        return {};
    unsigned char* der = nullptr;
    const int length = i2d_X509(handle(), &der);
    OpensslBytesPtr owner(der);
    if (length <= 0 || !der)
        return {};
    return Bytes(der, der + length);
}

std::string Certificate::toPem() const
{
    if (isNull())
        return {};
    BioPtr bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509(bio.get(), handle()) != 1) {
        ERR_clear_error();
        return {};
    }
    return readAll(bio.get());
}

const std::string& Certificate::fingerprint() const
{
    static const std::string none;
    return impl_ ? impl_->fingerprint : none;
}

std::string Certificate::serialNumber() const
{
    if (isNull())
        return {};
    const ASN1_INTEGER* serial = X509_get0_serialNumber(handle());
    if (!serial)
        return {};
    return hexWithBlanks(ASN1_STRING_get0_data(serial), static_cast<std::size_t>(ASN1_STRING_length(serial)));
}

DistinguishedName Certificate::subjectName() const
{
    return isNull() ? DistinguishedName() : DistinguishedName::fromX509Name(X509_get_subject_name(handle()));
}

DistinguishedName Certificate::issuerName() const
{
    return isNull() ? DistinguishedName() : DistinguishedName::fromX509Name(X509_get_issuer_name(handle()));
}

std::string Certificate::commonName() const
{
    const X509_NAME* subject = isNull() ? nullptr : X509_get_subject_name(handle());
    const int index = subject ? X509_NAME_get_index_by_NID(subject, NID_commonName, -1) : -1;
    if (index < 0)
        throw BaseException("Name Entry Not Found");
    return stringUpToZero(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index)));
}

std::string Certificate::displayName(const X509_NAME* name)
{
    std::string commonName;
    std::string unit;
    std::string organization;
    const int count = name ? X509_NAME_entry_count(name) : 0;
    for (int i = 0; i < count; ++i) {
        const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
        switch (OBJ_obj2nid(X509_NAME_ENTRY_get_object(entry))) {
        case NID_commonName:
            commonName = stringUpToZero(X509_NAME_ENTRY_get_data(entry));
            break;
        case NID_organizationalUnitName:
            unit = stringUpToZero(X509_NAME_ENTRY_get_data(entry));
            break;
        case NID_organizationName:
            organization = stringUpToZero(X509_NAME_ENTRY_get_data(entry));
            break;
        default:
            break;
        }
    }
    if (!commonName.empty())
        return commonName;
    if (!unit.empty())
        return unit;
    return organization;
}

PublicKey Certificate::publicKey() const
{
    const EVP_PKEY* key = isNull() ? nullptr : X509_get0_pubkey(handle());
    if (!key) {
        ERR_clear_error();
        throw BaseException("Error unpacking public key");
    }
    return PublicKey::fromEvp(key);
}

std::string Certificate::publicKeyPem(const PublicKey& publicKey) { return publicKey.toPem(); }

bool Certificate::isLegacyRoot() const
{
    if (isNull())
        return false;
    return X509_check_ca(handle()) == 0 && X509_get_ext_by_NID(handle(), NID_basic_constraints, -1) < 0
           && subjectName() == issuerName();
}

bool Certificate::isCa() const
{
    if (isNull())
        return false;
    return isLegacyRoot() || X509_check_ca(handle()) >= 1;
}

bool Certificate::isEndEntity() const { return !isCa(); }

bool Certificate::allowsSubCas() const
{
    if (isNull())
        return false;
    BasicConstraintsPtr constraints(
        static_cast<BASIC_CONSTRAINTS*>(decodeFirstExtension(handle(), NID_basic_constraints)));
    if (!constraints)
        return true;
    if (!constraints->ca)
        return false;
    if (!constraints->pathlen)
        return true;
    return ASN1_INTEGER_get(constraints->pathlen) > 0;
}

bool Certificate::isRoot() const
{
    if (isNull())
        return false;
    return isLegacyRoot() || (isCa() && (X509_get_extension_flags(handle()) & EXFLAG_SS) != 0);
}

bool Certificate::isIntermediateCa() const
{
    return isCa() && (X509_get_extension_flags(handle()) & EXFLAG_SS) == 0 && allowsSubCas();
}

bool Certificate::isFinalCa() const
{
    return isCa() && (X509_get_extension_flags(handle()) & EXFLAG_SS) == 0 && !allowsSubCas();
}

bool Certificate::isVerifiedBy(const PublicKey& publicKey) const
{
    if (isNull())
        return false;
    EvpPkeyPtr key;
    try {
        key = publicKey.toEvp();
    } catch (const BaseException&) {
        return false;
    }
    const bool verified = X509_verify(handle(), key.get()) == 1;
    ERR_clear_error();
    return verified;
}

bool Certificate::isVerifiedBy(const Certificate& issuer) const
{
    if (isNull() || issuer.isNull())
        return false;
    // The issuer's key as OpenSSL holds it, of whatever kind, and not rebuilt
    // as an RSA PublicKey: ICP-Brasil roots v4 and v13 have EC keys and v6 an
    // Ed448 one, and chains below them must still be found. Kept on purpose.
    EVP_PKEY* key = X509_get0_pubkey(issuer.handle());
    const bool verified = key && X509_verify(handle(), key) == 1;
    ERR_clear_error();
    return verified;
}

std::vector<std::string> Certificate::keyUsageNames() const
{
    std::vector<std::string> names;
    if (isNull())
        return names;
    static const struct {
        std::uint32_t mask;
        const char* name;
    } usages[] = {
        {0x80, "Digital Signature"}, {0x40, "Non-Repudiation"}, {0x20, "Key Encipherment"},
        {0x10, "Data Encipherment"}, {0x08, "Key Agreement"},   {0x04, "Key Cert Sign"},
        {0x02, "Key CRL Sign"},      {0x01, "Key Encipher Only"}, {0x8000, "Key Decipher Only"},
    };
    const std::uint32_t mask = X509_get_key_usage(handle());
    ERR_clear_error();
    for (const auto& usage : usages)
        if (mask & usage.mask)
            names.emplace_back(usage.name);
    if (mask == 0)
        return names;
    ExtendedKeyUsagePtr extended(
        static_cast<EXTENDED_KEY_USAGE*>(decodeFirstExtension(handle(), NID_ext_key_usage)));
    if (extended)
        for (int i = 0; i < sk_ASN1_OBJECT_num(extended.get()); ++i)
            names.push_back(objectText(sk_ASN1_OBJECT_value(extended.get(), i), false));
    return names;
}

std::vector<std::string> Certificate::policyOids() const
{
    std::vector<std::string> oids;
    if (isNull())
        return oids;
    PoliciesPtr policies(
        static_cast<CERTIFICATEPOLICIES*>(decodeFirstExtension(handle(), NID_certificate_policies)));
    if (!policies)
        return oids;
    for (int i = 0; i < sk_POLICYINFO_num(policies.get()); ++i) {
        const POLICYINFO* policy = sk_POLICYINFO_value(policies.get(), i);
        oids.push_back(objectText(policy->policyid, false));
    }
    return oids;
}

DateTimeInterval Certificate::validity() const
{
    if (isNull())
        return DateTimeInterval();
    return DateTimeInterval(parseTime(X509_get0_notBefore(handle())), parseTime(X509_get0_notAfter(handle())));
}

std::int32_t identityFields(const X509* certificate, std::shared_ptr<IdentityDescription>& identity)
{
    identity.reset();
    if (!certificate)
        return NoIdentity;
    GeneralNamesPtr names(static_cast<GENERAL_NAMES*>(decodeFirstExtension(certificate, NID_subject_alt_name)));
    if (!names)
        return NoIdentity;

    std::int32_t kind = NoIdentity;
    for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type != GEN_OTHERNAME || !name->d.otherName || !name->d.otherName->value)
            continue;
        const ASN1_TYPE* value = name->d.otherName->value;
        if (value->type != V_ASN1_OCTET_STRING && value->type != V_ASN1_PRINTABLESTRING)
            continue;
        const ASN1_STRING* content = value->value.asn1_string;
        const unsigned char* begin = content ? ASN1_STRING_get0_data(content) : nullptr;
        const int length = content ? ASN1_STRING_length(content) : 0;
        const unsigned char* end = begin ? begin + (length > 0 ? length : 0) : nullptr;

        char oid[500];
        if (OBJ_obj2txt(oid, sizeof oid, name->d.otherName->type_id, 1) <= 0)
            continue;
        for (const IdentityRow& row : identityRows) {
            if (std::strcmp(row.oid, oid) != 0)
                continue;
            // Rows of the other kind start a new description: a mixed
            // certificate keeps only what came after its last change.
            if (row.kind != kind) {
                kind = row.kind;
                if (kind == PersonIdentity)
                    identity = std::make_shared<PersonDescription>();
                else
                    identity = std::make_shared<CompanyDescription>();
            }
            row.cut(*identity, begin, end);
            break;
        }
    }
    return kind;
}

CertificateDetail Certificate::detail() const
{
    CertificateDetail detail;
    if (isNull())
        return detail;
    detail.serial = serialNumber();
    detail.fingerprint = fingerprint();
    for (const std::string& oid : policyOids())
        detail.policyDescriptions.push_back(policyDescription(oid));
    detail.subjectDisplayName = displayName(X509_get_subject_name(handle()));
    detail.issuerDisplayName = displayName(X509_get_issuer_name(handle()));
    detail.validity = validity();

    GeneralNamesPtr names(static_cast<GENERAL_NAMES*>(decodeFirstExtension(handle(), NID_subject_alt_name)));
    bool emailFound = false;
    for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type == GEN_EMAIL) {
            detail.email = stringUpToZero(name->d.rfc822Name);
            emailFound = true;
            break;
        }
    }
    if (!emailFound)
        detail.email = valueOfFirst(X509_get_subject_name(handle()), NID_pkcs9_emailAddress);

    detail.keyUsages = keyUsageNames();
    detail.identityKind = identityFields(handle(), detail.identity);
    return detail;
}

bool Certificate::operator==(const Certificate& other) const
{
    return impl_ == other.impl_ || fingerprint() == other.fingerprint();
}

bool Certificate::operator!=(const Certificate& other) const { return !(*this == other); }

} // namespace valmora::signer
