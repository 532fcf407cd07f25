#include "signer/CertificateRequest.h"

#include "signer/OpenSslPtr.h"
#include "signer/PublicKey.h"

#include <openssl/err.h>
#include <openssl/pem.h>

namespace valmora::signer {

CertificateRequest::CertificateRequest(X509_REQ* request)
    : request_(request, OpenSslDeleter<X509_REQ, X509_REQ_free>())
{
}

Bytes CertificateRequest::toDer() const
{
    if (!request_)
        return {};
    unsigned char* der = nullptr;
    const int length = i2d_X509_REQ(request_.get(), &der);
    OpensslBytesPtr owner(der);
    if (length <= 0 || !der) {
        ERR_clear_error();
        return {};
    }
    return Bytes(der, der + length);
}

std::string CertificateRequest::toPem() const
{
    if (!request_)
        return {};
    BioPtr bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509_REQ(bio.get(), request_.get()) != 1) {
        ERR_clear_error();
        return {};
    }
    return readAll(bio.get());
}

} // namespace valmora::signer
