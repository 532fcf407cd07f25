#pragma once

#include "signer/Encoding.h"

#include <openssl/x509.h>

#include <memory>
#include <string>

namespace valmora::signer {

// A PKCS#10 certificate request, shared by all its copies.
class CertificateRequest {
public:
    CertificateRequest() = default;
    // Takes ownership of the request.
    explicit CertificateRequest(X509_REQ* request);

    X509_REQ* handle() const { return request_.get(); }
    bool isNull() const { return !request_; }

    Bytes toDer() const;
    std::string toPem() const;

private:
    std::shared_ptr<X509_REQ> request_;
};

} // namespace valmora::signer
