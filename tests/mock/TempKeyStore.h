#pragma once

#include "signer/SystemRepository.h"
#include "signer/pkcs11/Pkcs11KeyStore.h"
#include "tests/mock/TempDir.h"

#include <memory>
#include <string>

namespace orvane::test {

// A SoftHSM2 token of its own in a temporary folder, made the way the agent
// makes its default one (label "Orvane", PIN in a file beside it), and a
// system repository over it with its certificate stores in the same folder.
// Another process reaches the same token with
// Pkcs11Settings::softHsmIn(softHsmFolder()).
//
// SoftHSM2 reads its configuration once per initialisation, so one process
// holds one such token at a time: let the previous one go before making the
// next.
class TempKeyStore {
public:
    TempKeyStore();
    ~TempKeyStore();
    TempKeyStore(const TempKeyStore&) = delete;
    TempKeyStore& operator=(const TempKeyStore&) = delete;

    const std::string& folder() const { return dir_.path(); }
    std::string softHsmFolder() const { return dir_.file("keystore"); }
    std::string certificateStoreFolder() const { return dir_.file("certstore"); }
    valmora::signer::Pkcs11Settings settings() const;
    const std::shared_ptr<valmora::signer::Pkcs11KeyStore>& keyStore() const { return keyStore_; }
    // A repository over this token and these stores; each call gives a new
    // object with its own search state.
    valmora::signer::SystemRepository repository() const;

    // "Orvane." and a random version 4 UUID, as the agent names its key.
    static std::wstring newKeyName();
    // Creates a named key as the agent does and returns its name.
    std::wstring createNamedKey();

private:
    TempDir dir_;
    std::shared_ptr<valmora::signer::Pkcs11KeyStore> keyStore_;
    std::shared_ptr<valmora::signer::CertificateStore> certificateStore_;
};

} // namespace orvane::test
