// The agent's named key on a real SoftHSM2 token in a temporary folder.
#include "signer/Exceptions.h"
#include "signer/KeyStorePrivateKey.h"
#include "signer/NarrowConverter.h"
#include "signer/SystemRepository.h"
#include "signer/pkcs11/Pkcs11KeyStore.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/signer/SignerTestSupport.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace valmora::signer;
using orvane::test::readFile;
using orvane::test::runProcess;
using orvane::test::TempDir;
using orvane::test::TempKeyStore;
using orvane::test::writeFile;
using orvane::test::signer::openssl;
using orvane::test::signer::opensslStatus;
using orvane::test::signer::asText;
using orvane::test::signer::failureOf;

namespace {

std::string narrow(const std::wstring& text) { return narrowConverter.to_bytes(text); }

mode_t modeOf(const std::string& path)
{
    struct stat info {};
    EXPECT_EQ(0, ::stat(path.c_str(), &info)) << path;
    return info.st_mode & 07777;
}

// Verifies an RSA signature of `data` with the openssl tool.
bool opensslVerifies(const TempDir& dir, const PublicKey& key, const Bytes& data, const Bytes& signature,
                     const std::string& hash = "-sha256")
{
    writeFile(dir.file("key.pem"), key.toPem());
    writeFile(dir.file("data"), asText(data));
    writeFile(dir.file("signature"), asText(signature));
    std::string out;
    const int status = opensslStatus(
        {"dgst", hash, "-verify", dir.file("key.pem"), "-signature", dir.file("signature"), dir.file("data")}, &out);
    return status == 0 && out.find("Verified OK") != std::string::npos;
}

class NamedKeyTest : public testing::Test {
protected:
    TempKeyStore token;
    TempDir files;
};

} // namespace

TEST_F(NamedKeyTest, CreatedKeyIsPrivateSensitiveNeverExtractableAndReadsBackTheSame)
{
    SystemRepository repository = token.repository();
    const std::wstring name = TempKeyStore::newKeyName();
    const PublicKey created = repository.createNamedKey(name, 1024);
    EXPECT_EQ(128u, created.modulus.size());
    EXPECT_EQ((Bytes{0x01, 0x00, 0x01}), created.exponent);
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

TEST_F(NamedKeyTest, SecondProcessFindsTheKeyByNameAndItsSignatureVerifiesWithOpenssl)
{
    SystemRepository repository = token.repository();
    const std::wstring name = token.createNamedKey();
    const PublicKey publicKey = repository.publicKeyOfNamedKey(name);
    const Bytes data = {'{', '"', 'a', '"', ':', '1', '}'};
    writeFile(files.file("request.json"), asText(data));

    const auto result = runProcess({STORE_KEYCHILD, "sign", token.softHsmFolder(), narrow(name),
                                    files.file("request.json"), files.file("request.sig")});
    ASSERT_EQ(0, result.exitCode) << result.err;
    const std::string signed_ = readFile(files.file("request.sig"));
    const Bytes signature(signed_.begin(), signed_.end());
    ASSERT_EQ(256u, signature.size());
    EXPECT_TRUE(opensslVerifies(files, publicKey, data, signature));
    Bytes tampered = data;
    tampered[1] = 'b';
    EXPECT_FALSE(opensslVerifies(files, publicKey, tampered, signature));
    // PKCS#1 v1.5 is deterministic: this process signs the same bytes.
    EXPECT_EQ(signature, repository.signWithNamedKey(data, name, "SHA256"));

    // An empty hash name signs a prepared DigestInfo as it stands (SHA-256's,
    // RFC 8017, section 9.2, note 1); other names put their own together.
    const Bytes hashed = digest(data, "SHA256");
    const std::string infoText =
        std::string("\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20", 19) + asText(hashed);
    const Bytes info(infoText.begin(), infoText.end());
    EXPECT_EQ(signature, repository.signWithNamedKey(info, name, ""));
    EXPECT_TRUE(opensslVerifies(files, publicKey, data, repository.signWithNamedKey(data, name, "SHA1"), "-sha1"));

    // And it decrypts what the tool encrypted for it.
    writeFile(files.file("secret"), "a session key");
    const std::string encrypted = openssl({"pkeyutl", "-encrypt", "-pubin", "-inkey", files.file("key.pem"), "-pkeyopt",
                                           "rsa_padding_mode:pkcs1", "-in", files.file("secret")});
    EXPECT_EQ("a session key", asText(repository.decrypt(Bytes(encrypted.begin(), encrypted.end()),
                                                         std::make_shared<KeyStorePrivateKey>(narrow(name), false))));
}

TEST_F(NamedKeyTest, UnknownNamesAndTakenNamesFailClearly)
{
    SystemRepository repository = token.repository();
    const std::wstring missing = L"Orvane.00000000-0000-4000-8000-000000000000";
    const std::string noKey = "No key named \"" + narrow(missing) + "\" in the key store";
    EXPECT_EQ(noKey + " (NCryptOpenKey)",
              failureOf<CapiException>([&] { repository.publicKeyOfNamedKey(missing); }));
    EXPECT_EQ("Error at signing: " + noKey + " (NCryptDecrypt)",
              failureOf<SignatureException>([&] { repository.signWithNamedKey({1, 2, 3}, missing, "SHA256"); }));
    // A key reached through a certificate fails under the signing call of
    // that way, unwrapped.
    EXPECT_EQ(noKey + " (CryptSignHashW)", failureOf<CapiException>([&] {
                  repository.sign({1, 2, 3}, std::make_shared<KeyStorePrivateKey>(narrow(missing), true), "SHA256");
              }));
    const std::wstring taken = token.createNamedKey();
    EXPECT_NE(std::string::npos, failureOf<CapiException>([&] { repository.createNamedKey(taken, 2048); })
                                     .find("exists already (NCryptCreatePersistedKey)"));
    EXPECT_THROW(repository.signWithNamedKey({1}, taken, "NOT-A-HASH"), SignatureException);
}

// The default: SoftHSM2 of the agent's own in the user's "Orvane" folder,
// made on first use and found again by the next store.
TEST(DefaultKeyStoreTest, FirstUseMakesAPrivateTokenThatTheNextStoreFindsAgain)
{
    orvane::test::TempEnvironment environment;
    std::wstring name;
    Pkcs11Settings settings;
    PublicKey created;
    {
        const auto store = Pkcs11KeyStore::forCurrentUser();
        name = TempKeyStore::newKeyName();
        created = store->createKey(narrow(name), false, 2048);
        settings = store->settings();
    }
    EXPECT_EQ(environment.userDataFolder() + "/Orvane/keystore", settings.softHsmFolder);
    EXPECT_EQ("Orvane", settings.tokenLabel);
    EXPECT_EQ(0700u, modeOf(settings.softHsmFolder));
    EXPECT_EQ(0700u, modeOf(settings.softHsmFolder + "/tokens"));
    EXPECT_EQ(0600u, modeOf(settings.pinFile));
    EXPECT_EQ(0600u, modeOf(settings.softHsmFolder + "/softhsm2.conf"));
    const std::string pin = readFile(settings.pinFile);
    EXPECT_EQ(33u, pin.size()) << "32 hexadecimal digits and a line end";

    const auto again = Pkcs11KeyStore::forCurrentUser();
    EXPECT_TRUE(again->hasKey(narrow(name)));
    EXPECT_EQ(created, again->publicKey(narrow(name)));
    EXPECT_EQ(pin, readFile(settings.pinFile)) << "the PIN is made once";
}

// Another module and token named in the configuration file work unchanged:
// here a token made with softhsm2-util, as a hardware token would be.
TEST(DefaultKeyStoreTest, ConfigurationNamesAnotherModuleTokenAndPinFile)
{
    orvane::test::TempEnvironment environment;
    TempDir dir;
    ::mkdir(dir.file("tokens").c_str(), 0700);
    writeFile(dir.file("softhsm2.conf"), "directories.tokendir = " + dir.file("tokens") + "\nlog.level = ERROR\n");
    writeFile(dir.file("pin"), "4321\n");
    const std::map<std::string, std::string> env = {{"SOFTHSM2_CONF", dir.file("softhsm2.conf")}};
    const auto made = runProcess({"/usr/bin/softhsm2-util", "--init-token", "--free", "--label", "Hardware", "--so-pin", "1234",
                                  "--pin", "4321"},
                                 {}, env);
    ASSERT_EQ(0, made.exitCode) << made.err;

    ::mkdir(environment.commonDataFolder().c_str(), 0700);
    ::mkdir((environment.commonDataFolder() + "/Orvane").c_str(), 0700);
    writeFile(environment.commonDataFolder() + "/Orvane/applicationConfig-2.properties",
              "keystore.pkcs11.module = /usr/lib/softhsm/libsofthsm2.so\n"
              "keystore.pkcs11.token = Hardware\n"
              "keystore.pkcs11.pin.file = "
                  + dir.file("pin") + "\n");
    const Pkcs11Settings settings = Pkcs11Settings::forCurrentUser();
    EXPECT_EQ("/usr/lib/softhsm/libsofthsm2.so", settings.modulePath);
    EXPECT_EQ("Hardware", settings.tokenLabel);
    EXPECT_EQ(dir.file("pin"), settings.pinFile);
    EXPECT_TRUE(settings.softHsmFolder.empty());

    ::setenv("SOFTHSM2_CONF", dir.file("softhsm2.conf").c_str(), 1);
    Pkcs11KeyStore store(settings);
    const PublicKey key = store.createKey("Orvane.hardware", false, 2048);
    const Bytes signature = store.signPkcs1("Orvane.hardware", {1, 2, 3});
    EXPECT_EQ(256u, signature.size());
    EXPECT_EQ(key, store.publicKey("Orvane.hardware"));
    ::unsetenv("SOFTHSM2_CONF");
}
