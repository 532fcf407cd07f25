#pragma once

// Helpers of the store suites: small certificate chains and what a store
// holds of a certificate.

#include "signer/Certificate.h"
#include "signer/CertificateStore.h"

#include <string>

namespace orvane::test::store {

using valmora::signer::Certificate;
using valmora::signer::CertificateStore;

// A root, an authority below it and an end entity below that, made on the
// spot; `expiredLeaf` makes the end entity's validity lie in the past.
struct SmallChain {
    Certificate root;
    Certificate intermediate;
    Certificate leaf;
};
SmallChain makeChain(const std::string& tag, bool expiredLeaf = false);

// An end-entity certificate with this common name from an issuer that no
// store holds.
Certificate makeEndEntity(const std::string& commonName, long serial = 1);

// The key-provider link of the certificate's entry in `store` as
// "container|provider|type|flags|key spec", "(no link)" for an entry
// without one, "(none)" without an entry.
std::wstring linkOf(CertificateStore& stores, const Certificate& certificate, const std::string& store = "MY");

// The permission bits of a file or folder.
unsigned modeOf(const std::string& path);

} // namespace orvane::test::store
