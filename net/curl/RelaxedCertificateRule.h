#pragma once

#include <curl/curl.h>
#include <openssl/x509.h>

namespace valmora::net {

// The agent's rule for server certificates: one issued by an authority this
// computer does not know, or a self-signed one, is accepted, because the
// services may run behind certificates of their own; an expired or
// not-yet-valid certificate, a broken signature and a wrong host name are
// still refused. Revocation data is never fetched, so it cannot be missed.

// OpenSSL verify callback: forgives exactly the unknown-issuer family of
// errors and clears the store's error when it does, since libcurl reads that
// error back after the handshake and would otherwise still fail.
int forgiveUnknownIssuer(int preverified, X509_STORE_CTX* store);

// libcurl's SSL context hook (CURLOPT_SSL_CTX_FUNCTION) that puts the
// callback above on every TLS context the handle makes.
CURLcode installRelaxedCertificateRule(CURL* handle, void* sslContext, void* unused);

} // namespace valmora::net
