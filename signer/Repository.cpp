#include "signer/Repository.h"

#include "signer/Encoding.h"
#include "signer/Exceptions.h"
#include "signer/OpenSslPtr.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <mutex>
#include <regex>
#include <sstream>

namespace valmora::signer {

namespace {

[[noreturn]] void failRequest(const char* text)
{
    ERR_clear_error();
    throw KeyPairGenerationException(text);
}

int asciiLength(const std::string& text)
{
    if (text.size() > static_cast<std::size_t>(INT_MAX))
        throw std::overflow_error("bad numeric conversion: positive overflow");
    return static_cast<int>(text.size());
}

// Whole-text decimal number; anything else reads as 0.
int kindNumber(const std::string& text)
{
    int value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end)
        return 0;
    return value;
}

std::vector<std::string> splitAt(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::string::size_type start = 0;
    while (true) {
        const auto found = text.find(separator, start);
        parts.push_back(text.substr(start, found - start));
        if (found == std::string::npos)
            return parts;
        start = found + 1;
    }
}

Asn1StringPtr ia5String(const std::string& value)
{
    Asn1StringPtr string(ASN1_IA5STRING_new());
    if (!string || ASN1_STRING_set(string.get(), value.data(), asciiLength(value)) != 1)
        return nullptr;
    return string;
}

void addSubjectEntry(X509_NAME* name, const SubjectEntry& entry)
{
    const int nid = OBJ_txt2nid(entry.name.c_str());
    const auto* value = reinterpret_cast<const unsigned char*>(entry.value.c_str());
    // Names that OpenSSL does not know still reach the request, as a unit.
    const int added = nid != NID_undef
                          ? X509_NAME_add_entry_by_NID(name, nid, MBSTRING_ASC, value, asciiLength(entry.value), -1, 0)
                          : X509_NAME_add_entry_by_txt(name, "OU", MBSTRING_ASC, value, asciiLength(entry.value), -1, 0);
    if (added != 1)
        failRequest("Error creating X509_NAME_ENTRY");
}

void addFixedSubject(X509_NAME* name)
{
    const SubjectEntry fixed[] = {
        {"C", "", "BR"},
        {"ST", "", "Sao Paulo"},
        {"O", "", Repository::defaultRequestDomain},
        {"OU", "", "Produtos"},
        {"CN", "", "Valmora Certificadora Digital SA"},
    };
    for (const SubjectEntry& entry : fixed)
        addSubjectEntry(name, entry);
}

// Fills one general name; false when the entry is to be left out silently.
bool fillGeneralName(GENERAL_NAME* name, int number, const AltNameEntry& entry)
{
    switch (number) {
    case GEN_OTHERNAME: {
        if (entry.otherNameType.empty())
            return false;
        // An object of our own for the type; it need not be registered in
        // OpenSSL's process-wide table to be encoded.
        Asn1ObjectPtr type(OBJ_txt2obj(entry.otherNameType.c_str(), 0));
        Asn1StringPtr text(ASN1_UTF8STRING_new());
        Asn1TypePtr value(ASN1_TYPE_new());
        if (!type || !text || !value || ASN1_STRING_set(text.get(), entry.value.data(), asciiLength(entry.value)) != 1)
            failRequest("Error creating X509_EXTENSION - otherName");
        ASN1_TYPE_set(value.get(), V_ASN1_UTF8STRING, text.release());
        if (GENERAL_NAME_set0_othername(name, type.get(), value.get()) != 1)
            failRequest("Error creating X509_EXTENSION - otherName");
        type.release();
        value.release();
        return true;
    }
    case GEN_EMAIL:
    case GEN_DNS:
    case GEN_URI: {
        Asn1StringPtr text = ia5String(entry.value);
        if (!text)
            failRequest(number == GEN_EMAIL ? "Error creating X509_EXTENSION - rfc822Name"
                        : number == GEN_DNS ? "Error creating X509_EXTENSION - dNSName"
                                            : "Error creating X509_EXTENSION - uniformResourceIdentifier");
        GENERAL_NAME_set0_value(name, number, text.release());
        return true;
    }
    case GEN_DIRNAME: {
        X509NamePtr directory(X509_NAME_new());
        if (!directory)
            failRequest("Error creating X509_EXTENSION - directoryName");
        for (const SubjectEntry& part : entry.directoryEntries) {
            if (X509_NAME_add_entry_by_txt(directory.get(), part.name.c_str(), MBSTRING_ASC,
                                           reinterpret_cast<const unsigned char*>(part.value.c_str()),
                                           asciiLength(part.value), -1, 0)
                != 1)
                failRequest("Error creating X509_EXTENSION - directoryName");
        }
        GENERAL_NAME_set0_value(name, GEN_DIRNAME, directory.release());
        return true;
    }
    case GEN_IPADD:
        failRequest("Error creating X509_EXTENSION - iPAddress selected");
    case GEN_RID: {
        const std::vector<std::string> parts = splitAt(entry.value, '=');
        if (parts.size() != 3)
            return false;
        // OID, short and long name of a new object; when OpenSSL has it
        // already, that registration stands.
        if (OBJ_txt2nid(parts[0].c_str()) == NID_undef)
            OBJ_create(parts[0].c_str(), parts[1].c_str(), parts[2].c_str());
        Asn1ObjectPtr identifier(OBJ_txt2obj(parts[0].c_str(), 1));
        ERR_clear_error();
        if (!identifier)
            return false;
        GENERAL_NAME_set0_value(name, GEN_RID, identifier.release());
        return true;
    }
    default:
        failRequest("Error creating X509_EXTENSION - default case");
    }
}

void addAltNames(STACK_OF(X509_EXTENSION) * extensions, const std::vector<AltNameEntry>& altNames)
{
    GeneralNamesPtr names(GENERAL_NAMES_new());
    if (!names)
        failRequest("Error creating X509_EXTENSION - Create GENERAL NAME");
    for (const AltNameEntry& entry : altNames) {
        const int number = kindNumber(entry.kind);
        if (OBJ_txt2nid(entry.extension.c_str()) != NID_subject_alt_name || number == GEN_X400
            || number == GEN_EDIPARTY)
            continue;
        if (number == GEN_EMAIL && !entry.value.empty() && !Repository::isAcceptedEmail(entry.value))
            continue;
        GeneralNamePtr name(GENERAL_NAME_new());
        if (!name)
            failRequest("Error creating X509_EXTENSION");
        if (!fillGeneralName(name.get(), number, entry))
            continue;
        if (sk_GENERAL_NAME_push(names.get(), name.get()) <= 0)
            failRequest("Error creating X509_EXTENSION");
        name.release();
    }
    // An empty alternative name extension is not valid DER for it (it must
    // hold at least one name), so a list whose entries were all left out
    // adds none. Kept on purpose: an authority would refuse the whole
    // request for an empty extension, and the person would get nothing.
    if (sk_GENERAL_NAME_num(names.get()) == 0)
        return;
    X509ExtensionPtr extension(X509V3_EXT_i2d(NID_subject_alt_name, 0, names.get()));
    if (!extension || sk_X509_EXTENSION_push(extensions, extension.get()) <= 0)
        failRequest("Error creating X509_EXTENSION");
    extension.release();
}

} // namespace

const char* const Repository::defaultRequestDomain = "valmora.com.br";

Repository::Repository() { initialiseOpenSsl(); }

Repository::~Repository() = default;

void Repository::login(const std::wstring&) {}

void Repository::accessHook() {}

void Repository::forEachCertificate(RepositoryFilter filter, const CertificateAction& action)
{
    visitCertificates(filter, [&action](const Certificate& certificate) {
        action(certificate);
        return Then::Continue;
    });
}

Certificate Repository::findFirst(const CertificatePredicate& predicate)
{
    Certificate found;
    bool any = false;
    visitCertificates(AllFilter, [&](const Certificate& certificate) {
        if (!predicate(certificate))
            return Then::Continue;
        found = certificate;
        any = true;
        return Then::Stop;
    });
    if (!any)
        throw CertificateNotFoundException("");
    return found;
}

Certificate Repository::findByFingerprint(const std::string& fingerprint)
{
    try {
        return findFirst([&](const Certificate& certificate) { return certificate.fingerprint() == fingerprint; });
    } catch (const CertificateNotFoundException&) {
        throw CertificateNotFoundException("Fingerprint: " + fingerprint);
    }
}

Certificate Repository::findByIssuerAndSerial(const DistinguishedName& issuer, const std::string& serial)
{
    try {
        return findFirst([&](const Certificate& certificate) {
            return certificate.serialNumber() == serial && certificate.issuerName() == issuer;
        });
    } catch (const CertificateNotFoundException&) {
        std::ostringstream text;
        text << "Issuer: " << issuer << ", Serial Number: " << serial;
        throw CertificateNotFoundException(text.str());
    }
}

Certificate Repository::findIssuer(const Certificate& certificate)
{
    if (certificate.isRoot())
        throw CertificateNotFoundException("This Certificate is self-signed");
    const DistinguishedName issuerName = certificate.issuerName();
    Certificate found;
    bool any = false;
    visitCertificates(AnyCaFilter, [&](const Certificate& candidate) {
        // The name first: it is cheap, the signature check is not.
        if (candidate.subjectName() != issuerName || !certificate.isVerifiedBy(candidate))
            return Then::Continue;
        found = candidate;
        any = true;
        return Then::Stop;
    });
    if (!any)
        throw CertificateNotFoundException("Issuer not found");
    return found;
}

CertificateChain Repository::buildChain(const Certificate& certificate)
{
    CertificateChain chain;
    chain.certificates.push_back(certificate);
    while (!chain.certificates.back().isRoot()) {
        Certificate issuer;
        try {
            issuer = findIssuer(chain.certificates.back());
        } catch (const CertificateNotFoundException&) {
            chain.status = ChainPartial;
            return chain;
        }
        // Two authorities that certify each other, neither of them a root,
        // would send the walk round for ever. Kept on purpose: such a chain
        // ends here as a failed one instead of hanging the caller.
        if (std::find(chain.certificates.begin(), chain.certificates.end(), issuer) != chain.certificates.end()) {
            chain.status = ChainOtherError;
            return chain;
        }
        chain.certificates.push_back(issuer);
    }
    chain.status = ChainComplete;
    return chain;
}

Bytes Repository::signWithCertificate(const Bytes& bytes, const Certificate& certificate, const std::string& hashName)
{
    try {
        return sign(bytes, privateKeyOf(certificate), hashName);
    } catch (const SignatureException&) {
        throw;
    } catch (const std::exception& error) {
        throw SignatureException(error.what());
    }
}

Bytes Repository::signDigestWithCertificate(const Bytes& digest, const Certificate& certificate,
                                            const std::string& hashName)
{
    try {
        return signDigest(hashName, digest, privateKeyOf(certificate));
    } catch (const SignatureException&) {
        throw;
    } catch (const std::exception& error) {
        throw SignatureException(error.what());
    }
}

Bytes Repository::decryptWithCertificate(const Bytes& bytes, const Certificate& certificate)
{
    try {
        return decrypt(bytes, privateKeyOf(certificate));
    } catch (const DecryptionException&) {
        throw;
    } catch (const std::exception& error) {
        throw DecryptionException(error.what());
    }
}

Bytes Repository::sign(const Bytes& bytes, const PrivateKeyHandle& key, const std::string& hashName)
{
    const Bytes hashed = digest(bytes, hashName);
    // No digest means no hash name: the input is the value to sign.
    return signDigest(hashName, hashed.empty() ? bytes : hashed, key);
}

bool Repository::isAcceptedEmail(const std::string& address)
{
    static const std::regex expression(
        R"RE((?:[a-z0-9!#$%&'*+/=?^_{|}~-]+(?:\.[a-z0-9!#$%&'*+/=?^_{|}~-]+)*|"(?:[\x01-\x08\x0b\x0c\x0e-\x1f\x21\x23-\x5b\x5d-\x7f]|\\[\x01-\x09\x0b\x0c\x0e-\x7f])*")@(?:(?:[a-z0-9](?:[a-z0-9-]*[a-z0-9])?\.)+[a-z0-9](?:[a-z0-9-]*[a-z0-9])?|\[(?:(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\.){3}(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?|[a-z0-9-]*[a-z0-9]:(?:[\x01-\x08\x0b\x0c\x0e-\x1f\x21-\x5a\x53-\x7f]|\\[\x01-\x09\x0b\x0c\x0e-\x7f])+)\]))RE",
        std::regex::ECMAScript);
    return std::regex_match(address, expression);
}

CertificateRequest Repository::createRequest(const std::wstring& keyName,
                                             const std::vector<SubjectEntry>& subjectEntries,
                                             const std::vector<AltNameEntry>& altNames, int bits)
{
    return buildRequest(keyName, &subjectEntries, &altNames, bits);
}

CertificateRequest Repository::createDefaultRequest(const std::wstring& keyName, int bits)
{
    return buildRequest(keyName, nullptr, nullptr, bits);
}

CertificateRequest Repository::buildRequest(const std::wstring& keyName,
                                            const std::vector<SubjectEntry>* subjectEntries,
                                            const std::vector<AltNameEntry>* altNames, int bits)
{
    // Through the virtual slot: the concrete repository decides where the
    // key lives, and signs with it below without OpenSSL's request signing,
    // so a key that never leaves its store can sign its own request.
    const KeyPair keyPair = generateKeyPair(keyName, bits);
    try {
        const EvpPkeyPtr publicKey = static_cast<const PublicKey&>(keyPair).toEvp();
        X509ReqPtr request(X509_REQ_new());
        if (!request)
            failRequest("Error creating X509_REQ object");
        if (X509_REQ_set_pubkey(request.get(), publicKey.get()) != 1)
            failRequest("Error creating X509_REQ object");

        X509_NAME* subject = X509_REQ_get_subject_name(request.get());
        if (!subjectEntries || subjectEntries->empty())
            addFixedSubject(subject);
        else
            for (const SubjectEntry& entry : *subjectEntries)
                addSubjectEntry(subject, entry);

        ExtensionStackPtr extensions(sk_X509_EXTENSION_new_null());
        if (!extensions)
            failRequest("Error creating X509_EXTENSION");
        if (altNames && !altNames->empty())
            addAltNames(extensions.get(), *altNames);
        X509ExtensionPtr keyUsage(
            X509V3_EXT_conf_nid(nullptr, nullptr, NID_key_usage, "critical,digitalSignature,keyEncipherment"));
        if (!keyUsage || sk_X509_EXTENSION_push(extensions.get(), keyUsage.get()) <= 0)
            failRequest("Error creating X509_EXTENSION");
        keyUsage.release();
        if (X509_REQ_add_extensions(request.get(), extensions.get()) != 1)
            failRequest("Error creating X509_EXTENSION");
        extensions.reset();

        unsigned char* tbs = nullptr;
        const int tbsLength = i2d_re_X509_REQ_tbs(request.get(), &tbs);
        OpensslBytesPtr tbsOwner(tbs);
        if (tbsLength < 1 || !tbs)
            failRequest("Error convert X509_REQ_INFO in DER format");

        const Bytes signature = sign(Bytes(tbs, tbs + tbsLength), keyPair.privateKey, "SHA256");

        Asn1StringPtr signatureBits(ASN1_BIT_STRING_new());
        if (!signatureBits || signature.size() > static_cast<std::size_t>(INT_MAX)
            || ASN1_BIT_STRING_set(signatureBits.get(), const_cast<unsigned char*>(signature.data()),
                                   static_cast<int>(signature.size()))
                   != 1)
            failRequest("Error setting signature algorithm");
        // Whole bytes: no unused bits at the end.
        signatureBits->flags &= ~(ASN1_STRING_FLAG_BITS_LEFT | 0x07L);
        signatureBits->flags |= ASN1_STRING_FLAG_BITS_LEFT;
        X509_REQ_set0_signature(request.get(), signatureBits.release());

        X509AlgorPtr algorithm(X509_ALGOR_new());
        if (!algorithm
            || X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(NID_sha256WithRSAEncryption), V_ASN1_UNDEF, nullptr) != 1
            || X509_REQ_set1_signature_algo(request.get(), algorithm.get()) != 1)
            failRequest("Error setting signature algorithm");
        return CertificateRequest(request.release());
    } catch (const KeyPairGenerationException&) {
        throw;
    } catch (const std::exception& error) {
        throw KeyPairGenerationException(error.what());
    }
}

bool passesFilter(const Certificate& certificate, RepositoryFilter filter)
{
    return ((filter & RootFilter) && certificate.isRoot())
           || ((filter & IntermediateCaFilter) && certificate.isIntermediateCa())
           || ((filter & FinalCaFilter) && certificate.isFinalCa())
           || ((filter & EndEntityFilterMask) && certificate.isEndEntity());
}

} // namespace valmora::signer
