#pragma once

#include "signer/KeyStore.h"
#include "signer/pkcs11/Pkcs11Settings.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace valmora::signer {

class Pkcs11Module;
class Pkcs11Session;

// The key store on a PKCS#11 token. Each operation runs in a session of its
// own; one further session, opened with the store, keeps the user logged in
// for the store's life. The module is loaded, and with the default settings
// the token made, when the first operation needs them.
//
// A module serves one configuration per process: SoftHSM2 reads its
// configuration once, when it is first initialised.
class Pkcs11KeyStore : public KeyStore {
public:
    explicit Pkcs11KeyStore(Pkcs11Settings settings);
    // Settings read when the store is first used.
    explicit Pkcs11KeyStore(std::function<Pkcs11Settings()> settings);
    ~Pkcs11KeyStore() override;

    static std::shared_ptr<Pkcs11KeyStore> forCurrentUser();

    PublicKey createKey(const std::string& name, bool exportable, unsigned bits) override;
    bool hasKey(const std::string& name) override;
    PublicKey publicKey(const std::string& name) override;
    std::optional<std::string> findKey(const PublicKey& publicKey) override;
    Bytes signPkcs1(const std::string& name, const Bytes& block) override;
    Bytes decryptPkcs1(const std::string& name, const Bytes& cipherText) override;
    EvpPkeyPtr exportPrivateKey(const std::string& name) override;
    void importPrivateKey(const std::string& name, const EVP_PKEY* key, bool exportable) override;
    bool destroyKey(const std::string& name) override;

    // The settings in use (after the first operation for a deferred store).
    Pkcs11Settings settings();

private:
    // A fresh session on the token, with the store opened if need be.
    Pkcs11Session session();
    void open();

    std::mutex openMutex_;
    std::function<Pkcs11Settings()> settingsSource_;
    Pkcs11Settings settings_;
    bool opened_ = false;
    std::unique_ptr<Pkcs11Module> module_;
    unsigned long slot_ = 0;
    std::unique_ptr<Pkcs11Session> loginSession_;
};

} // namespace valmora::signer
