#pragma once

// Helpers of the store suites: a look straight into the token, files for
// the openssl tool, and small certificate chains.

#include "signer/Certificate.h"
#include "signer/Encoding.h"
#include "signer/pkcs11/Pkcs11Settings.h"

#include <p11-kit/pkcs11.h>

#include <string>

namespace orvane::test::store {

using valmora::signer::Bytes;
using valmora::signer::Certificate;

// Reads one attribute of the object of class `objectClass` labelled `label`
// on the token of `settings`, through PKCS#11 alone, logged in as the user.
// Answers the module's return value; `value` gets the bytes when it is
// CKR_OK. The token must be open in this process already (a key store on
// it alive).
CK_RV readTokenAttribute(const valmora::signer::Pkcs11Settings& settings, const std::string& label,
                         CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type, Bytes& value);

void writeBytes(const std::string& path, const Bytes& bytes);
Bytes readBytes(const std::string& path);

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

} // namespace orvane::test::store
