#include "provider/objects/CertificateObjects.h"

#include <openssl/asn1.h>
#include <openssl/x509.h>

#include <cstring>
#include <stdexcept>

namespace orvane::provider {

namespace {

using valmora::signer::Bytes;
using Value = CertificateObjects::Value;

Value present(Bytes bytes)
{
    Value value;
    value.state = Value::State::Present;
    value.bytes = std::move(bytes);
    return value;
}

Value flag(bool on)
{
    return present(Bytes{static_cast<unsigned char>(on ? CK_TRUE : CK_FALSE)});
}

Value number(CK_ULONG n)
{
    Bytes bytes(sizeof n);
    std::memcpy(bytes.data(), &n, sizeof n);
    return present(std::move(bytes));
}

Value sensitive()
{
    Value value;
    value.state = Value::State::Sensitive;
    return value;
}

template <typename T, typename Encode>
Bytes derOf(const T* object, Encode encode)
{
    const int length = encode(object, nullptr);
    if (length <= 0)
        return {};
    Bytes bytes(static_cast<std::size_t>(length));
    unsigned char* out = bytes.data();
    encode(object, &out);
    return bytes;
}

Bytes subjectDer(const valmora::signer::Certificate& certificate)
{
    return derOf(X509_get_subject_name(certificate.handle()),
                 [](const X509_NAME* name, unsigned char** out) { return i2d_X509_NAME(name, out); });
}

Bytes issuerDer(const valmora::signer::Certificate& certificate)
{
    return derOf(X509_get_issuer_name(certificate.handle()),
                 [](const X509_NAME* name, unsigned char** out) { return i2d_X509_NAME(name, out); });
}

Bytes serialDer(const valmora::signer::Certificate& certificate)
{
    return derOf(X509_get0_serialNumber(certificate.handle()),
                 [](const ASN1_INTEGER* serial, unsigned char** out) { return i2d_ASN1_INTEGER(serial, out); });
}

Bytes textBytes(const std::string& text)
{
    return Bytes(text.begin(), text.end());
}

} // namespace

CertificateObjects::CertificateObjects(std::shared_ptr<const EntryCache::Decoded> source, CK_SLOT_ID slotId,
                                       std::wstring keyName, Bytes keyId, std::string label,
                                       bool privateKeyNeedsLogin)
    : source_(std::move(source))
    , slotId_(slotId)
    , keyName_(std::move(keyName))
    , keyId_(std::move(keyId))
    , label_(std::move(label))
    , privateKeyNeedsLogin_(privateKeyNeedsLogin)
{
    if (!source_ || source_->modulus.empty())
        throw std::invalid_argument("not an RSA certificate");
}

std::optional<CertificateObjects::Kind> CertificateObjects::kindOf(CK_OBJECT_HANDLE handle)
{
    switch (handle % 4) {
    case CertificateKind:
        return CertificateKind;
    case PrivateKeyKind:
        return PrivateKeyKind;
    case PublicKeyKind:
        return PublicKeyKind;
    default:
        return std::nullopt;
    }
}

bool CertificateObjects::visible(Kind kind, bool loggedIn) const
{
    return kind != PrivateKeyKind || !privateKeyNeedsLogin_ || loggedIn;
}

CertificateObjects::Value CertificateObjects::attribute(Kind kind, CK_ATTRIBUTE_TYPE type) const
{
    // Attributes that every object has.
    switch (type) {
    case CKA_CLASS:
        return number(kind == CertificateKind ? CKO_CERTIFICATE
                                              : kind == PrivateKeyKind ? CKO_PRIVATE_KEY : CKO_PUBLIC_KEY);
    case CKA_TOKEN:
        return flag(true);
    case CKA_PRIVATE:
        return flag(kind == PrivateKeyKind && privateKeyNeedsLogin_);
    case CKA_MODIFIABLE:
    case CKA_COPYABLE:
    case CKA_DESTROYABLE:
        return flag(false);
    case CKA_LABEL:
        return present(textBytes(label_));
    case CKA_ID:
        return present(keyId_);
    case CKA_SUBJECT:
        return present(subjectDer(certificate()));
    default:
        break;
    }
    if (kind == CertificateKind) {
        switch (type) {
        case CKA_CERTIFICATE_TYPE:
            return number(CKC_X_509);
        case CKA_CERTIFICATE_CATEGORY:
            return number(1); // the token user's own certificate
        case CKA_TRUSTED:
            return flag(false);
        case CKA_VALUE:
            return present(certificate().toDer());
        case CKA_ISSUER:
            return present(issuerDer(certificate()));
        case CKA_SERIAL_NUMBER:
            return present(serialDer(certificate()));
        default:
            return {};
        }
    }
    // Both keys.
    switch (type) {
    case CKA_KEY_TYPE:
        return number(CKK_RSA);
    case CKA_MODULUS:
        return present(source_->modulus);
    case CKA_MODULUS_BITS:
        return number(static_cast<CK_ULONG>(source_->modulus.size() * 8));
    case CKA_PUBLIC_EXPONENT:
        return present(source_->exponent);
    case CKA_LOCAL:
    case CKA_DERIVE:
        return flag(false);
    case CKA_KEY_GEN_MECHANISM:
        return number(CK_UNAVAILABLE_INFORMATION);
    case CKA_START_DATE:
    case CKA_END_DATE:
        return present({});
    default:
        break;
    }
    if (kind == PublicKeyKind) {
        switch (type) {
        case CKA_VERIFY:
            return flag(true);
        case CKA_ENCRYPT:
        case CKA_WRAP:
        case CKA_VERIFY_RECOVER:
        case CKA_TRUSTED:
            return flag(false);
        default:
            return {};
        }
    }
    switch (type) {
    case CKA_SIGN:
    case CKA_SENSITIVE:
    case CKA_ALWAYS_SENSITIVE:
    case CKA_NEVER_EXTRACTABLE:
        return flag(true);
    case CKA_EXTRACTABLE:
    case CKA_DECRYPT:
    case CKA_UNWRAP:
    case CKA_SIGN_RECOVER:
    case CKA_ALWAYS_AUTHENTICATE:
    case CKA_WRAP_WITH_TRUSTED:
        return flag(false);
    case CKA_PRIVATE_EXPONENT:
    case CKA_PRIME_1:
    case CKA_PRIME_2:
    case CKA_EXPONENT_1:
    case CKA_EXPONENT_2:
    case CKA_COEFFICIENT:
    case CKA_VALUE:
        return sensitive();
    default:
        return {};
    }
}

bool CertificateObjects::matches(Kind kind, const CK_ATTRIBUTE* pattern, CK_ULONG count) const
{
    for (CK_ULONG i = 0; i < count; ++i) {
        const Value value = attribute(kind, pattern[i].type);
        if (value.state != Value::State::Present || value.bytes.size() != pattern[i].ulValueLen)
            return false;
        if (!value.bytes.empty()
            && (!pattern[i].pValue || std::memcmp(value.bytes.data(), pattern[i].pValue, value.bytes.size()) != 0))
            return false;
    }
    return true;
}

} // namespace orvane::provider
