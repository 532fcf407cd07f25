#pragma once

// Owning pointers for the OpenSSL objects of this library: each frees its
// object with the library's own function, so every exit path releases it.

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

namespace valmora::signer {

template <class T, void (*Free)(T*)>
struct OpenSslDeleter {
    void operator()(T* object) const noexcept
    {
        if (object)
            Free(object);
    }
};

template <class T, void (*Free)(T*)>
using OpenSslPtr = std::unique_ptr<T, OpenSslDeleter<T, Free>>;

inline void freeBio(BIO* bio) { BIO_free_all(bio); }
inline void freeX509Stack(STACK_OF(X509) * stack) { sk_X509_pop_free(stack, X509_free); }
inline void freeGeneralNames(GENERAL_NAMES* names) { GENERAL_NAMES_free(names); }
inline void freeExtensionStack(STACK_OF(X509_EXTENSION) * stack)
{
    sk_X509_EXTENSION_pop_free(stack, X509_EXTENSION_free);
}
inline void freePolicies(CERTIFICATEPOLICIES* policies) { CERTIFICATEPOLICIES_free(policies); }
inline void freeExtendedKeyUsage(EXTENDED_KEY_USAGE* usage) { EXTENDED_KEY_USAGE_free(usage); }
inline void freeOpensslBytes(unsigned char* bytes) { OPENSSL_free(bytes); }

using BioPtr = OpenSslPtr<BIO, freeBio>;
using BignumPtr = OpenSslPtr<BIGNUM, BN_free>;
using X509Ptr = OpenSslPtr<X509, X509_free>;
using X509NamePtr = OpenSslPtr<X509_NAME, X509_NAME_free>;
using X509ReqPtr = OpenSslPtr<X509_REQ, X509_REQ_free>;
using X509StackPtr = OpenSslPtr<STACK_OF(X509), freeX509Stack>;
using X509ExtensionPtr = OpenSslPtr<X509_EXTENSION, X509_EXTENSION_free>;
using ExtensionStackPtr = OpenSslPtr<STACK_OF(X509_EXTENSION), freeExtensionStack>;
using GeneralNamePtr = OpenSslPtr<GENERAL_NAME, GENERAL_NAME_free>;
using GeneralNamesPtr = OpenSslPtr<GENERAL_NAMES, freeGeneralNames>;
using BasicConstraintsPtr = OpenSslPtr<BASIC_CONSTRAINTS, BASIC_CONSTRAINTS_free>;
using PoliciesPtr = OpenSslPtr<CERTIFICATEPOLICIES, freePolicies>;
using ExtendedKeyUsagePtr = OpenSslPtr<EXTENDED_KEY_USAGE, freeExtendedKeyUsage>;
using Asn1ObjectPtr = OpenSslPtr<ASN1_OBJECT, ASN1_OBJECT_free>;
using Asn1StringPtr = OpenSslPtr<ASN1_STRING, ASN1_STRING_free>;
using Asn1TypePtr = OpenSslPtr<ASN1_TYPE, ASN1_TYPE_free>;
using X509AlgorPtr = OpenSslPtr<X509_ALGOR, X509_ALGOR_free>;
using EvpPkeyPtr = OpenSslPtr<EVP_PKEY, EVP_PKEY_free>;
using EvpPkeyCtxPtr = OpenSslPtr<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using EvpMdCtxPtr = OpenSslPtr<EVP_MD_CTX, EVP_MD_CTX_free>;
using Pkcs12Ptr = OpenSslPtr<PKCS12, PKCS12_free>;
using OpensslBytesPtr = OpenSslPtr<unsigned char, freeOpensslBytes>;

// Shared ownership with the same deleters, where a handle is held by
// several values at once.
inline std::shared_ptr<EVP_PKEY> shareKey(EVP_PKEY* key)
{
    return std::shared_ptr<EVP_PKEY>(key, OpenSslDeleter<EVP_PKEY, EVP_PKEY_free>());
}

} // namespace valmora::signer
