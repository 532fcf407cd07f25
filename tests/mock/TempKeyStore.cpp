#include "tests/mock/TempKeyStore.h"

#include "signer/directory/DirectoryCertificateStore.h"

#include <openssl/rand.h>

#include <cstdio>
#include <stdexcept>

namespace orvane::test {

using valmora::signer::DirectoryCertificateStore;
using valmora::signer::Pkcs11KeyStore;
using valmora::signer::Pkcs11Settings;
using valmora::signer::SystemRepository;

TempKeyStore::TempKeyStore()
    : keyStore_(std::make_shared<Pkcs11KeyStore>(Pkcs11Settings::softHsmIn(dir_.file("keystore")))),
      certificateStore_(std::make_shared<DirectoryCertificateStore>(dir_.file("certstore")))
{
}

TempKeyStore::~TempKeyStore() = default;

Pkcs11Settings TempKeyStore::settings() const { return Pkcs11Settings::softHsmIn(softHsmFolder()); }

SystemRepository TempKeyStore::repository() const { return SystemRepository(keyStore_, certificateStore_); }

std::wstring TempKeyStore::newKeyName()
{
    unsigned char b[16];
    if (RAND_bytes(b, sizeof b) != 1)
        throw std::runtime_error("no random bytes");
    b[6] = static_cast<unsigned char>((b[6] & 0x0F) | 0x40);
    b[8] = static_cast<unsigned char>((b[8] & 0x3F) | 0x80);
    wchar_t text[64];
    std::swprintf(text, 64, L"Orvane.%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0], b[1],
                  b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    return text;
}

std::wstring TempKeyStore::createNamedKey()
{
    const std::wstring name = newKeyName();
    repository().createNamedKey(name, 2048);
    return name;
}

} // namespace orvane::test
