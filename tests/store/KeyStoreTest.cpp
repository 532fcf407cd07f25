// Keys on a real SoftHSM2 token in a temporary folder: the agent's named
// key, keys generated for a request and imported from PKCS#12, and the
// default token of the user.
#include "signer/Exceptions.h"
#include "signer/KeyStorePrivateKey.h"
#include "signer/NarrowConverter.h"
#include "signer/SystemRepository.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "signer/pkcs11/Pkcs11KeyStore.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/signer/SignerTestSupport.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;
using namespace orvane::test;
using orvane::test::store::linkOf;
using orvane::test::store::modeOf;

namespace {

std::string narrow(const std::wstring& text) { return narrowConverter.to_bytes(text); }

class TokenTest : public testing::Test {
protected:
    // The certificate of a test authority, made with the openssl tool on
    // first use, for a PKCS#10 request.
    Certificate issue(const std::string& requestPem)
    {
        if (!std::filesystem::exists(files.file("ca.pem"))) {
            openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", files.file("ca.key"), "-out",
                     files.file("ca.pem"), "-subj", "/CN=Orvane Test Authority", "-days", "30"});
            writeFile(files.file("leaf.ext"), "basicConstraints=critical,CA:FALSE\nkeyUsage=critical,digitalSignature\n");
        }
        writeFile(files.file("request.pem"), requestPem);
        openssl({"x509", "-req", "-in", files.file("request.pem"), "-CA", files.file("ca.pem"), "-CAkey",
                 files.file("ca.key"), "-CAcreateserial", "-days", "30", "-extfile", files.file("leaf.ext"), "-out",
                 files.file("issued.pem")});
        return Certificate::fromText(readFile(files.file("issued.pem")));
    }

    TempKeyStore token;
    TempDir files;
    std::shared_ptr<DirectoryCertificateStore> folders =
        std::make_shared<DirectoryCertificateStore>(token.certificateStoreFolder());
    SystemRepository repository{token.keyStore(), folders};
};

} // namespace

TEST_F(TokenTest, NamedKeyIsPrivateSensitiveNeverExtractableAndReadsBackTheSame)
{
    const std::wstring name = TempKeyStore::newKeyName();
    const PublicKey created = repository.createNamedKey(name, 1024);
    EXPECT_EQ(128u, created.modulus.size());
    EXPECT_EQ(created, repository.publicKeyOfNamedKey(name));
    EXPECT_TRUE(repository.hasNamedKey(name));
    EXPECT_FALSE(repository.hasNamedKey(TempKeyStore::newKeyName()));

    // As pkcs11-tool sees it: private (no object before the login), sensitive
    // and never extractable, for signing and decryption.
    const Pkcs11Settings settings = token.settings();
    auto privateKeys = [&](bool login) {
        std::vector<std::string> argv = {"/usr/bin/pkcs11-tool", "--module", settings.modulePath, "--token-label",
                                         settings.tokenLabel, "--list-objects", "--type", "privkey"};
        if (login)
            argv.insert(argv.end(), {"--login", "--pin", readFile(settings.pinFile).substr(0, 32)});
        const auto listed = runProcess(argv, {}, {{"SOFTHSM2_CONF", settings.softHsmFolder + "/softhsm2.conf"}});
        EXPECT_EQ(0, listed.exitCode) << listed.err;
        return listed.out;
    };
    EXPECT_EQ(std::string::npos, privateKeys(false).find("Private Key Object"));
    const std::string listed = privateKeys(true);
    const std::string label = narrow(name);
    EXPECT_NE(std::string::npos, listed.find("label:      " + label)) << listed;
    EXPECT_NE(std::string::npos, listed.find("Usage:      decrypt, sign")) << listed;
    EXPECT_NE(std::string::npos, listed.find("Access:     sensitive, always sensitive, never extractable")) << listed;
    // Nor does the store's own export hand it out.
    EXPECT_NE(std::string::npos, failureOf<KeyStoreError>([&] { token.keyStore()->exportPrivateKey(label); })
                                     .find("CKR_ATTRIBUTE_SENSITIVE"));
}

TEST_F(TokenTest, NamedKeySignsAndDecryptsAsTheOpensslToolExpects)
{
    const std::wstring name = token.createNamedKey();
    const std::string publicKey = repository.publicKeyOfNamedKey(name).toPem();
    const std::string data = "{\"a\":1}";
    const Bytes bytes(data.begin(), data.end());
    const std::string signature = asText(repository.signWithNamedKey(bytes, name, "SHA256"));
    EXPECT_TRUE(opensslVerifies(publicKey, data, signature));
    EXPECT_FALSE(opensslVerifies(publicKey, "{\"b\":1}", signature));
    EXPECT_TRUE(opensslVerifies(publicKey, data, asText(repository.signWithNamedKey(bytes, name, "SHA1")), "sha1"));
    // An empty hash name signs a prepared DigestInfo as it stands (SHA-256's,
    // RFC 8017, section 9.2, note 1).
    const std::string info = std::string("\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20", 19)
                             + asText(digest(bytes, "SHA256"));
    EXPECT_EQ(signature, asText(repository.signWithNamedKey(Bytes(info.begin(), info.end()), name, "")));

    writeFile(files.file("key.pem"), publicKey);
    const std::string encrypted = openssl({"pkeyutl", "-encrypt", "-pubin", "-inkey", files.file("key.pem"), "-pkeyopt",
                                           "rsa_padding_mode:pkcs1"}, "a session key");
    EXPECT_EQ("a session key", asText(repository.decrypt(Bytes(encrypted.begin(), encrypted.end()),
                                                         std::make_shared<KeyStorePrivateKey>(narrow(name), false))));
}

TEST_F(TokenTest, UnknownNamesAndTakenNamesFailClearly)
{
    const std::wstring missing = L"Orvane.00000000-0000-4000-8000-000000000000";
    const std::string noKey = "No key named \"" + narrow(missing) + "\" in the key store";
    EXPECT_EQ(noKey + " (NCryptOpenKey)",
              failureOf<CapiException>([&] { repository.publicKeyOfNamedKey(missing); }));
    EXPECT_EQ("Error at signing: " + noKey + " (NCryptDecrypt)",
              failureOf<SignatureException>([&] { repository.signWithNamedKey({1, 2, 3}, missing, "SHA256"); }));
    const std::wstring taken = token.createNamedKey();
    EXPECT_NE(std::string::npos, failureOf<CapiException>([&] { repository.createNamedKey(taken, 2048); })
                                     .find("exists already (NCryptCreatePersistedKey)"));
    EXPECT_THROW(repository.signWithNamedKey({1}, taken, "NOT-A-HASH"), SignatureException);
    // Generation replaces a key that waits for its certificate, never the agent's.
    const PublicKey kept = repository.publicKeyOfNamedKey(taken);
    EXPECT_THROW(repository.generateKeyPair(taken, 2048), KeyPairGenerationException);
    EXPECT_EQ(kept, repository.publicKeyOfNamedKey(taken));
    const std::wstring waiting = TempKeyStore::newKeyName();
    const KeyPair first = repository.generateKeyPair(waiting, 2048);
    const KeyPair second = repository.generateKeyPair(waiting, 2048);
    EXPECT_NE(first.modulus, second.modulus);
    EXPECT_EQ(static_cast<const PublicKey&>(second), repository.publicKeyOfNamedKey(waiting));
}

TEST_F(TokenTest, RequestedKeyMeetsItsCertificateAndSignsThroughTheLink)
{
    const std::wstring keyName = TempKeyStore::newKeyName();
    const std::string pem = repository.createDefaultRequest(keyName, 4096).toPem();
    EXPECT_NE(std::string::npos, openssl({"req", "-noout", "-verify", "-text"}, pem).find("Public-Key: (2048 bit)"))
        << "4096 asked, 2048 made";
    // While the key waits for its certificate, an end entity for another key
    // is somebody else's and goes to the address book.
    const Certificate stranger = orvane::test::store::makeEndEntity("Stranger");
    EXPECT_TRUE(repository.addCertificate(stranger));
    EXPECT_EQ(L"(no link)", linkOf(*folders, stranger, "AddressBook"));
    EXPECT_EQ(L"(none)", linkOf(*folders, stranger));
    // Its own certificate lands in "MY".
    const Certificate issued = issue(pem);
    EXPECT_TRUE(repository.addCertificate(issued));
    EXPECT_EQ(keyName + L"|" + localKeyProviderName + L"|24|0|2", linkOf(*folders, issued))
        << "linked to the key generated for the request, not to a copy";
    EXPECT_EQ(L"Valmora Certificadora Digital SA", folders->find("MY", issued.fingerprint())->friendlyName.value_or(L""));

    // Another object, as a later run would make, signs through the link.
    SystemRepository later(token.keyStore(), folders);
    const Bytes data = {'d', 'o', 'c', 'u', 'm', 'e', 'n', 't'};
    EXPECT_TRUE(
        opensslVerifies(issued.toPem(), asText(data), asText(later.signWithCertificate(data, issued, "SHA256"))));
    // Keys reached through a certificate know the hash names in capitals.
    EXPECT_THROW(later.signWithCertificate(data, issued, "sha256"), SignatureException);
}

TEST_F(TokenTest, ImportOfPkcs12WithALinkPutsTheKeyUnderThatNameAndNamesTheEntry)
{
    openssl({"req", "-newkey", "rsa:2048", "-nodes", "-keyout", files.file("own.key"), "-out", files.file("own.csr"),
             "-subj", "/O=Orvane Tests/CN=Importada"});
    const Certificate issued = issue(readFile(files.file("own.csr")));
    openssl({"pkcs12", "-export", "-inkey", files.file("own.key"), "-in", files.file("issued.pem"), "-certfile",
             files.file("ca.pem"), "-passout", "pass:segredo", "-out", files.file("own.p12")});
    std::stringstream archive(readFile(files.file("own.p12")));
    repository.importPfx(archive, L"segredo", ProviderLink{localKeyProviderName, L"Orvane.imported"}, true);

    const std::wstring link = L"Orvane.imported|" + std::wstring(localKeyProviderName) + L"|24|0|2";
    EXPECT_EQ(link, linkOf(*folders, issued));
    EXPECT_EQ(L"Importada", folders->find("MY", issued.fingerprint())->friendlyName.value_or(L""))
        << "the last certificate gets the name";
    const Certificate authority = Certificate::fromText(readFile(files.file("ca.pem")));
    EXPECT_EQ(link, linkOf(*folders, authority)) << "every certificate of the archive, linked in MY";
    EXPECT_TRUE(token.keyStore()->hasKey("Orvane.imported"));

    std::stringstream wrong(readFile(files.file("own.p12")));
    EXPECT_NE(std::string::npos, failureOf<CapiException>([&] {
                                     repository.importPfx(wrong, L"errada", ProviderLink{}, false);
                                 }).find("(PFXImportCertStore)"));
}

// The default: SoftHSM2 of the agent's own in the user's "Orvane" folder,
// made on first use and found again by the next store.
TEST(DefaultKeyStoreTest, FirstUseMakesAPrivateTokenThatTheNextStoreFindsAgain)
{
    orvane::test::TempEnvironment environment;
    const std::string name = narrow(TempKeyStore::newKeyName());
    Pkcs11Settings settings;
    PublicKey created;
    {
        const auto store = Pkcs11KeyStore::forCurrentUser();
        created = store->createKey(name, false, 2048);
        settings = store->settings();
    }
    EXPECT_EQ(environment.userDataFolder() + "/Orvane/keystore", settings.softHsmFolder);
    for (const std::string& folder : {settings.softHsmFolder, settings.softHsmFolder + "/tokens"})
        EXPECT_EQ(0700u, modeOf(folder)) << folder;
    for (const std::string& file : {settings.pinFile, settings.softHsmFolder + "/softhsm2.conf"})
        EXPECT_EQ(0600u, modeOf(file)) << file;
    const std::string pin = readFile(settings.pinFile);
    EXPECT_EQ(33u, pin.size()) << "32 hexadecimal digits and a line end";

    const auto again = Pkcs11KeyStore::forCurrentUser();
    EXPECT_EQ(created, again->publicKey(name));
    EXPECT_EQ(pin, readFile(settings.pinFile)) << "the PIN is made once";
}

// Another module and token named in the configuration file work unchanged:
// here a token made with softhsm2-util, as a hardware token would be.
TEST(DefaultKeyStoreTest, ConfigurationNamesAnotherModuleTokenAndPinFile)
{
    orvane::test::TempEnvironment environment;
    TempDir dir;
    std::filesystem::create_directories(dir.file("tokens"));
    writeFile(dir.file("softhsm2.conf"), "directories.tokendir = " + dir.file("tokens") + "\nlog.level = ERROR\n");
    writeFile(dir.file("pin"), "4321\n");
    orvane::test::EnvironmentScope conf("SOFTHSM2_CONF", dir.file("softhsm2.conf").c_str());
    const auto made = runProcess({"/usr/bin/softhsm2-util", "--init-token", "--free", "--label", "Hardware", "--so-pin",
                                  "1234", "--pin", "4321"});
    ASSERT_EQ(0, made.exitCode) << made.err;

    std::filesystem::create_directories(environment.commonDataFolder() + "/Orvane");
    writeFile(environment.commonDataFolder() + "/Orvane/applicationConfig-2.properties",
              "keystore.pkcs11.module = /usr/lib/softhsm/libsofthsm2.so\nkeystore.pkcs11.token = Hardware\n"
              "keystore.pkcs11.pin.file = " + dir.file("pin") + "\n");
    // The only token there is labelled "Hardware" and opens with that PIN.
    Pkcs11KeyStore store(Pkcs11Settings::forCurrentUser());
    const PublicKey key = store.createKey("Orvane.hardware", false, 2048);
    EXPECT_EQ(256u, store.signPkcs1("Orvane.hardware", {1, 2, 3}).size());
    EXPECT_EQ(key, store.publicKey("Orvane.hardware"));
}
