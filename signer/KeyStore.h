#pragma once

#include "signer/Encoding.h"
#include "signer/OpenSslPtr.h"
#include "signer/PublicKey.h"

#include <exception>
#include <optional>
#include <string>

namespace valmora::signer {

// Where the private keys of this computer live: named RSA keys that sign and
// decrypt with PKCS#1 v1.5 padding without handing their private parts out.
// Names are UTF-8 texts; one name stands for one key pair.
//
// A failed key store operation. The store throws only this; the repository
// above turns it into the failures it reports.
class KeyStoreError : public std::exception {
public:
    enum class Kind { Failure, NoSuchKey, KeyExists };
    KeyStoreError(Kind kind, std::string text);
    Kind kind() const { return kind_; }
    const char* what() const noexcept override;

private:
    Kind kind_;
    std::string text_;
};

// Failures throw KeyStoreError; a name that is not there fails with the kind
// NoSuchKey and a text that names the key.
class KeyStore {
public:
    virtual ~KeyStore();

    // A new RSA key of `bits` bits with the public exponent 65537. A key that
    // is not `exportable` never leaves the store; an exportable one can be
    // read back with exportPrivateKey. A name in use fails.
    virtual PublicKey createKey(const std::string& name, bool exportable, unsigned bits) = 0;
    virtual bool hasKey(const std::string& name) = 0;
    virtual PublicKey publicKey(const std::string& name) = 0;
    // The name of a private key whose public part is `publicKey`.
    virtual std::optional<std::string> findKey(const PublicKey& publicKey) = 0;
    // RSA PKCS#1 v1.5 over `block` as it stands: the caller puts the
    // DigestInfo together (or passes a raw value).
    virtual Bytes signPkcs1(const std::string& name, const Bytes& block) = 0;
    virtual Bytes decryptPkcs1(const std::string& name, const Bytes& cipherText) = 0;
    // The private key of an exportable key, as an OpenSSL key.
    virtual EvpPkeyPtr exportPrivateKey(const std::string& name) = 0;
    // Puts an RSA private key (and its public part) under `name`.
    virtual void importPrivateKey(const std::string& name, const EVP_PKEY* key, bool exportable) = 0;
    // False when there was no such key.
    virtual bool destroyKey(const std::string& name) = 0;
};

} // namespace valmora::signer
