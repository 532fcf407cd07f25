#include "signer/ArchiveRepository.h"

#include "signer/Exceptions.h"
#include "signer/NarrowConverter.h"
#include "signer/OpenSslPrivateKey.h"
#include "signer/OpenSslPtr.h"
#include "signer/StdStreamAdapter.h"

#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/rsa.h>

#include <limits>
#include <mutex>
#include <stdexcept>

namespace valmora::signer {

class ArchiveRepositoryImpl {
public:
    Pkcs12Ptr pkcs12;
    ArchiveState state = ArchiveState::Empty;
    std::wstring keyName;
    std::shared_ptr<EVP_PKEY> privateKey;
    X509Ptr certificate;
    X509StackPtr certificateAuthorities;
    std::wstring secondName;

    void clear()
    {
        pkcs12.reset();
        privateKey.reset();
        certificate.reset();
        certificateAuthorities.reset();
    }
};

namespace {

// Archives exported by older systems protect their certificates with RC2 or
// single DES, which OpenSSL 3 keeps in its legacy provider. It is loaded
// once, beside the default provider, the first time an archive is opened.
void unloadProvider(OSSL_PROVIDER* provider) { OSSL_PROVIDER_unload(provider); }

void loadLegacyAlgorithms()
{
    static OpenSslPtr<OSSL_PROVIDER, unloadProvider> legacy(OSSL_PROVIDER_try_load(nullptr, "legacy", 1));
    if (!legacy)
        ERR_clear_error();
}

EVP_PKEY* openSslKeyOf(const PrivateKeyHandle& key)
{
    const auto* own = dynamic_cast<const OpenSslPrivateKey*>(key.get());
    return own ? own->get() : nullptr;
}

} // namespace

ArchiveRepository::ArchiveRepository() : impl_(std::make_shared<ArchiveRepositoryImpl>()) {}

ArchiveRepository::ArchiveRepository(std::shared_ptr<EVP_PKEY> privateKey, std::wstring keyName,
                                     std::wstring secondName)
    : impl_(std::make_shared<ArchiveRepositoryImpl>())
{
    impl_->state = ArchiveState::KeyOnly;
    impl_->keyName = std::move(keyName);
    impl_->privateKey = std::move(privateKey);
    impl_->secondName = std::move(secondName);
}

ArchiveRepository::ArchiveRepository(std::istream& pkcs12) : impl_(std::make_shared<ArchiveRepositoryImpl>())
{
    try {
        BioPtr bio = newStdStreamBio(&pkcs12, nullptr);
        checkOpenSsl(!bio, "BIO_new", "Memory allocation failure");
        impl_->pkcs12.reset(d2i_PKCS12_bio(bio.get(), nullptr));
        checkOpenSsl(!impl_->pkcs12, "d2i_PKCS12_bio", "d2i_PKCS12_bio");
        impl_->state = ArchiveState::NotLogged;
    } catch (const ArchiveException& error) {
        throw RepositoryAccessException(error.what());
    }
}

std::unique_ptr<Repository> ArchiveRepository::clone() const { return std::make_unique<ArchiveRepository>(*this); }

ArchiveState ArchiveRepository::state() const { return impl_->state; }

const std::wstring& ArchiveRepository::keyName() const { return impl_->keyName; }

const std::wstring& ArchiveRepository::secondName() const { return impl_->secondName; }

Certificate ArchiveRepository::certificate() const { return Certificate::fromHandle(impl_->certificate.get()); }

void ArchiveRepository::login(const std::wstring& password)
{
    if (impl_->state != ArchiveState::NotLogged)
        return;
    try {
        const std::string narrow = narrowConverter.to_bytes(password);
        loadLegacyAlgorithms();
        EVP_PKEY* key = nullptr;
        X509* certificate = nullptr;
        STACK_OF(X509)* authorities = nullptr;
        const int parsed = PKCS12_parse(impl_->pkcs12.get(), narrow.c_str(), &key, &certificate, &authorities);
        EvpPkeyPtr keyOwner(key);
        X509Ptr certificateOwner(certificate);
        X509StackPtr authoritiesOwner(authorities);
        checkOpenSsl(parsed != 1, "PKCS12_parse", "PKCS12_parse");
        impl_->privateKey = shareKey(keyOwner.release());
        impl_->certificate = std::move(certificateOwner);
        impl_->certificateAuthorities = std::move(authoritiesOwner);
        impl_->state = ArchiveState::Logged;
    } catch (const ArchiveException& error) {
        throw RepositoryAccessException(error.what());
    }
}

KeyPair ArchiveRepository::generateKeyPair(const std::wstring& keyName, int bits)
{
    try {
        impl_->clear();

        // The EVP form of RSA_new + BN_set_word(65537) + RSA_generate_key_ex;
        // the labels keep the names of those steps.
        EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
        checkOpenSsl(!context, "RSA_new", "RSA_new");
        BignumPtr exponent(BN_new());
        checkOpenSsl(!exponent, "RSA_new", "RSA_new");
        checkOpenSsl(BN_set_word(exponent.get(), RSA_F4) != 1, "BN_set_word", "BN_set_word");
        checkOpenSsl(EVP_PKEY_keygen_init(context.get()) != 1, "RSA_generate_key_ex", "RSA_generate_key_ex");
        checkOpenSsl(EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits) != 1, "RSA_generate_key_ex",
                     "RSA_generate_key_ex");
        checkOpenSsl(EVP_PKEY_CTX_set1_rsa_keygen_pubexp(context.get(), exponent.get()) != 1, "BN_set_word",
                     "BN_set_word");
        EVP_PKEY* generated = nullptr;
        checkOpenSsl(EVP_PKEY_generate(context.get(), &generated) != 1, "RSA_generate_key_ex",
                     "RSA_generate_key_ex");
        EvpPkeyPtr key(generated);
        checkOpenSsl(!key, "EVP_PKEY_new", "Could not create EVP object");

        impl_->privateKey = shareKey(key.release());
        impl_->keyName = keyName;
        impl_->state = ArchiveState::KeyOnly;

        KeyPair pair;
        static_cast<PublicKey&>(pair) = PublicKey::fromEvp(impl_->privateKey.get());
        pair.privateKey = std::make_shared<OpenSslPrivateKey>(impl_->privateKey);
        return pair;
    } catch (const KeyPairGenerationException&) {
        throw;
    } catch (const std::exception& error) {
        throw KeyPairGenerationException(error.what());
    }
}

bool ArchiveRepository::addCertificate(const Certificate& certificate)
{
    try {
        if (impl_->state == ArchiveState::NotLogged || impl_->state == ArchiveState::Empty)
            throw CertificateAdditionException("Cannot extract public key. It lacks a public key.");

        bool sameKey = false;
        if (impl_->privateKey && !certificate.isNull()) {
            // A certificate whose key is not RSA cannot belong to the held
            // key; it is still welcome as an authority. Kept on purpose:
            // real ICP-Brasil roots and authorities have EC and Ed448 keys,
            // and an archive that refused them could not carry its chain.
            try {
                sameKey = PublicKey::fromEvp(impl_->privateKey.get()) == certificate.publicKey();
            } catch (const BaseException&) {
                sameKey = false;
            }
        }
        if (sameKey) {
            X509Ptr copy(X509_dup(certificate.handle()));
            checkOpenSsl(!copy, "X509_dup", "Memory allocation failure");
            impl_->certificate = std::move(copy);
            impl_->state = ArchiveState::KeyAndCertificate;
            return true;
        }
        if (!certificate.isCa())
            return false;
        if (!impl_->certificateAuthorities) {
            impl_->certificateAuthorities.reset(sk_X509_new_null());
            checkOpenSsl(!impl_->certificateAuthorities, "sk_X509_push", "Memory allocation failure");
        }
        X509Ptr copy(X509_dup(certificate.handle()));
        checkOpenSsl(!copy || sk_X509_push(impl_->certificateAuthorities.get(), copy.get()) <= 0, "sk_X509_push",
                     "Memory allocation failure");
        copy.release();
        return true;
    } catch (const CertificateAdditionException&) {
        throw;
    } catch (const std::exception& error) {
        throw CertificateAdditionException(error.what());
    }
}

void ArchiveRepository::visitCertificates(RepositoryFilter filter, const CertificateVisitor& visitor)
{
    try {
        const ArchiveState state = impl_->state;
        if (state != ArchiveState::Logged && state != ArchiveState::KeyOnly
            && state != ArchiveState::KeyAndCertificate)
            throw CertificateSearchingException("PKCS#12's Content is empty or user was not logged in");

        // Copies first: a visitor may add to this very archive.
        const Certificate held = Certificate::fromHandle(impl_->certificate.get());
        std::vector<Certificate> authorities;
        if (STACK_OF(X509)* list = impl_->certificateAuthorities.get())
            for (int i = 0; i < sk_X509_num(list); ++i)
                authorities.push_back(Certificate::fromHandle(sk_X509_value(list, i)));

        if ((filter & PersonalFilter) && state != ArchiveState::KeyOnly && !held.isNull())
            visitor(held);
        for (const Certificate& authority : authorities)
            if (passesFilter(authority, filter) && visitor(authority) == Then::Stop)
                return;
    } catch (const CertificateSearchingException&) {
        throw;
    } catch (const std::exception& error) {
        throw CertificateSearchingException(error.what());
    }
}

PrivateKeyHandle ArchiveRepository::privateKeyOf(const Certificate& certificate)
{
    switch (impl_->state) {
    case ArchiveState::NotLogged:
        throw SignatureException("Not logged");
    case ArchiveState::Empty:
        throw SignatureException("There isn't any private key");
    case ArchiveState::KeyOnly:
        throw SignatureException("Certificate not present");
    case ArchiveState::Logged:
    case ArchiveState::KeyAndCertificate:
        break;
    }
    const Certificate held = Certificate::fromHandle(impl_->certificate.get());
    if (held.isNull() || !impl_->privateKey || held.fingerprint() != certificate.fingerprint())
        throw SignatureException("Certificate not match in this archive");
    return std::make_shared<OpenSslPrivateKey>(impl_->privateKey);
}

Bytes ArchiveRepository::signDigest(const std::string& hashName, const Bytes& digest, const PrivateKeyHandle& key)
{
    try {
        EVP_PKEY* rsa = openSslKeyOf(key);
        checkOpenSsl(!rsa || !EVP_PKEY_is_a(rsa, "RSA"), "EVP_PKEY_get1_RSA", "Cannot get RSA key from private key");
        Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(rsa)));
        std::size_t length = signature.size();
        EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(rsa, nullptr));

        if (!hashName.empty()) {
            const int nid = OBJ_txt2nid(hashName.c_str());
            if (nid == NID_undef)
                throw SignatureException("Hash algorithm not found");
            if (digest.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
                throw std::overflow_error("bad numeric conversion: positive overflow");
            // RSA_sign: PKCS#1 v1.5 over the DigestInfo of this digest.
            const EVP_MD* method = EVP_get_digestbynid(nid);
            checkOpenSsl(!context || !method || EVP_PKEY_sign_init(context.get()) != 1
                             || EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1
                             || EVP_PKEY_CTX_set_signature_md(context.get(), method) != 1
                             || EVP_PKEY_sign(context.get(), signature.data(), &length, digest.data(), digest.size())
                                    != 1,
                         "RSA_sign", "RSA_sign");
        } else {
            // RSA_private_encrypt with PKCS#1 padding: the input is the whole
            // value to be signed.
            checkOpenSsl(!context || EVP_PKEY_sign_init(context.get()) != 1
                             || EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1
                             || EVP_PKEY_sign(context.get(), signature.data(), &length, digest.data(), digest.size())
                                    != 1,
                         "RSA_private_encrypt", "RSA_private_encrypt");
        }
        signature.resize(length);
        return signature;
    } catch (const ArchiveException& error) {
        throw SignatureException(error.what());
    }
}

Bytes ArchiveRepository::decrypt(const Bytes& bytes, const PrivateKeyHandle& key)
{
    try {
        EVP_PKEY* own = openSslKeyOf(key);
        EvpPkeyCtxPtr context(own ? EVP_PKEY_CTX_new(own, nullptr) : nullptr);
        checkOpenSsl(!context, "EVP_PKEY_CTX_new", "EVP_PKEY_CTX_new");
        checkOpenSsl(EVP_PKEY_decrypt_init(context.get()) != 1, "EVP_PKEY_decrypt_init", "EVP_PKEY_decrypt_init");
        std::size_t length = 0;
        checkOpenSsl(EVP_PKEY_decrypt(context.get(), nullptr, &length, bytes.data(), bytes.size()) != 1,
                     "EVP_PKEY_decrypt", "EVP_PKEY_decrypt");
        Bytes plain(length);
        checkOpenSsl(EVP_PKEY_decrypt(context.get(), plain.data(), &length, bytes.data(), bytes.size()) != 1,
                     "EVP_PKEY_decrypt", "EVP_PKEY_decrypt");
        plain.resize(length);
        return plain;
    } catch (const ArchiveException& error) {
        throw DecryptionException(error.what());
    }
}

void ArchiveRepository::saveArchive(const std::wstring& password, std::ostream& stream)
{
    if ((impl_->state != ArchiveState::Logged && impl_->state != ArchiveState::KeyAndCertificate)
        || !impl_->certificate || !impl_->privateKey)
        throw SerializationException("Cannot save. It lacks either certificate, private key or CA.");
    try {
        const std::string narrow = narrowConverter.to_bytes(password);
        const std::string friendlyName = Certificate::fromHandle(impl_->certificate.get()).commonName();

        Pkcs12Ptr created(PKCS12_create(narrow.c_str(), friendlyName.c_str(), impl_->privateKey.get(),
                                        impl_->certificate.get(), impl_->certificateAuthorities.get(), 0, 0, 0, 0,
                                        0));
        checkOpenSsl(!created, "PKCS12_create", "Cannot create PKCS#12");
        impl_->pkcs12 = std::move(created);
        impl_->state = ArchiveState::Logged;

        BioPtr bio = newStdStreamBio(nullptr, &stream);
        checkOpenSsl(!bio, "BIO_new", "Memory allocation failure");
        checkOpenSsl(i2d_PKCS12_bio(bio.get(), impl_->pkcs12.get()) != 1, "i2d_PKCS12_bio", "i2d_PKCS12_bio");
    } catch (const ArchiveException& error) {
        throw SerializationException(error.what());
    }
}

} // namespace valmora::signer
