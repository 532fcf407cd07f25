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

#include <algorithm>

#include <sys/stat.h>

using namespace valmora::signer;
using orvane::test::readFile;
using orvane::test::runProcess;
using orvane::test::TempDir;
using orvane::test::TempKeyStore;
using orvane::test::writeFile;
using orvane::test::signer::openssl;
using orvane::test::signer::opensslStatus;
using orvane::test::store::readBytes;
using orvane::test::store::readTokenAttribute;
using orvane::test::store::writeBytes;

namespace {

std::string narrow(const std::wstring& text) { return narrowConverter.to_bytes(text); }

mode_t modeOf(const std::string& path)
{
    struct stat info {};
    EXPECT_EQ(0, ::stat(path.c_str(), &info)) << path;
    return info.st_mode & 07777;
}

// Verifies an RSA SHA-256 signature of `data` with the openssl tool.
bool opensslVerifies(const TempDir& dir, const PublicKey& key, const Bytes& data, const Bytes& signature)
{
    writeFile(dir.file("key.pem"), key.toPem());
    writeBytes(dir.file("data"), data);
    writeBytes(dir.file("signature"), signature);
    std::string out;
    const int status = opensslStatus({"dgst", "-sha256", "-verify", dir.file("key.pem"), "-signature",
                                      dir.file("signature"), dir.file("data")},
                                     &out);
    return status == 0 && out.find("Verified OK") != std::string::npos;
}

class NamedKeyTest : public testing::Test {
protected:
    TempKeyStore token;
    TempDir files;
};

} // namespace

TEST_F(NamedKeyTest, CreatedKeyHasTheAskedSizeWithExponent65537AndReadsBackTheSame)
{
    SystemRepository repository = token.repository();
    const std::wstring name = TempKeyStore::newKeyName();
    const PublicKey created = repository.createNamedKey(name, 1024);
    EXPECT_EQ(128u, created.modulus.size());
    EXPECT_EQ((Bytes{0x01, 0x00, 0x01}), created.exponent);
    EXPECT_EQ(created, repository.publicKeyOfNamedKey(name));
    EXPECT_TRUE(repository.hasNamedKey(name));
    EXPECT_FALSE(repository.hasNamedKey(TempKeyStore::newKeyName()));
}

TEST_F(NamedKeyTest, PrivateObjectIsPrivateSensitiveNotExtractableAndSignsAndDecrypts)
{
    const std::string label = narrow(token.createNamedKey());
    const auto flag = [&](CK_ATTRIBUTE_TYPE type) {
        Bytes value;
        EXPECT_EQ(CKR_OK, readTokenAttribute(token.settings(), label, CKO_PRIVATE_KEY, type, value)) << type;
        return value.size() == 1 && value[0] == CK_TRUE;
    };
    EXPECT_TRUE(flag(CKA_TOKEN));
    EXPECT_TRUE(flag(CKA_PRIVATE));
    EXPECT_TRUE(flag(CKA_SENSITIVE));
    EXPECT_FALSE(flag(CKA_EXTRACTABLE));
    EXPECT_TRUE(flag(CKA_NEVER_EXTRACTABLE));
    EXPECT_TRUE(flag(CKA_SIGN));
    EXPECT_TRUE(flag(CKA_DECRYPT));
}

TEST_F(NamedKeyTest, TokenRefusesToRevealThePrivateKey)
{
    const std::wstring name = token.createNamedKey();
    const std::string label = narrow(name);
    for (CK_ATTRIBUTE_TYPE secret : {CKA_PRIVATE_EXPONENT, CKA_PRIME_1, CKA_PRIME_2, CKA_VALUE}) {
        Bytes value;
        const CK_RV rv = readTokenAttribute(token.settings(), label, CKO_PRIVATE_KEY, secret, value);
        EXPECT_NE(CKR_OK, rv) << "attribute " << secret << " was revealed";
        EXPECT_TRUE(rv == CKR_ATTRIBUTE_SENSITIVE || rv == CKR_ATTRIBUTE_TYPE_INVALID) << rv;
    }
    // Nor does the store's own export hand it out.
    try {
        token.keyStore()->exportPrivateKey(label);
        ADD_FAILURE() << "a named key was exported";
    } catch (const KeyStoreError& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("CKR_ATTRIBUTE_SENSITIVE")) << error.what();
    }
}

TEST_F(NamedKeyTest, SecondProcessFindsTheKeyByNameAndItsSignatureVerifiesWithOpenssl)
{
    SystemRepository repository = token.repository();
    const std::wstring name = token.createNamedKey();
    const PublicKey publicKey = repository.publicKeyOfNamedKey(name);
    const Bytes data = {'{', '"', 'a', '"', ':', '1', '}'};
    writeBytes(files.file("request.json"), data);

    const auto result = runProcess({STORE_KEYCHILD, "sign", token.softHsmFolder(), narrow(name),
                                    files.file("request.json"), files.file("request.sig")});
    ASSERT_EQ(0, result.exitCode) << result.err;
    const Bytes signature = readBytes(files.file("request.sig"));
    ASSERT_EQ(256u, signature.size());
    EXPECT_TRUE(opensslVerifies(files, publicKey, data, signature));
    // PKCS#1 v1.5 is deterministic: this process signs the same bytes.
    EXPECT_EQ(signature, repository.signWithNamedKey(data, name, "SHA256"));

    Bytes tampered = data;
    tampered[1] = 'b';
    EXPECT_FALSE(opensslVerifies(files, publicKey, tampered, signature));
}

TEST_F(NamedKeyTest, EmptyHashNameSignsAPreparedDigestInfoAsItStands)
{
    SystemRepository repository = token.repository();
    const std::wstring name = token.createNamedKey();
    const Bytes data = {1, 2, 3, 4, 5};
    const Bytes hashed = digest(data, "SHA256");
    // DigestInfo of SHA-256 (RFC 8017, section 9.2, note 1) and the digest.
    static const unsigned char prefix[] = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                           0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
    Bytes info(sizeof prefix + hashed.size());
    std::copy(std::begin(prefix), std::end(prefix), info.begin());
    std::copy(hashed.begin(), hashed.end(), info.begin() + sizeof prefix);
    EXPECT_EQ(repository.signWithNamedKey(data, name, "SHA256"), repository.signWithNamedKey(info, name, ""));
    // Other hash names put their own DigestInfo together.
    const Bytes sha1Signature = repository.signWithNamedKey(data, name, "SHA1");
    writeFile(files.file("key.pem"), repository.publicKeyOfNamedKey(name).toPem());
    writeBytes(files.file("data"), data);
    writeBytes(files.file("sig"), sha1Signature);
    std::string out;
    EXPECT_EQ(0, opensslStatus({"dgst", "-sha1", "-verify", files.file("key.pem"), "-signature", files.file("sig"),
                                files.file("data")},
                               &out));
}

TEST_F(NamedKeyTest, DecryptsWhatOpensslEncryptedForIt)
{
    SystemRepository repository = token.repository();
    const std::wstring name = token.createNamedKey();
    writeFile(files.file("key.pem"), repository.publicKeyOfNamedKey(name).toPem());
    writeFile(files.file("secret"), "a session key");
    openssl({"pkeyutl", "-encrypt", "-pubin", "-inkey", files.file("key.pem"), "-pkeyopt", "rsa_padding_mode:pkcs1",
             "-in", files.file("secret"), "-out", files.file("secret.enc")});
    const Bytes plain =
        repository.decrypt(readBytes(files.file("secret.enc")), std::make_shared<KeyStorePrivateKey>(narrow(name), false));
    EXPECT_EQ("a session key", std::string(plain.begin(), plain.end()));
}

TEST_F(NamedKeyTest, UnknownNamesAndTakenNamesFailClearly)
{
    SystemRepository repository = token.repository();
    const std::wstring missing = L"Orvane.00000000-0000-4000-8000-000000000000";
    try {
        repository.publicKeyOfNamedKey(missing);
        ADD_FAILURE() << "no failure";
    } catch (const CapiException& error) {
        EXPECT_EQ("No key named \"" + narrow(missing) + "\" in the key store (NCryptOpenKey)",
                  std::string(error.what()));
    }
    try {
        repository.signWithNamedKey({1, 2, 3}, missing, "SHA256");
        ADD_FAILURE() << "no failure";
    } catch (const SignatureException& error) {
        EXPECT_EQ("Error at signing: No key named \"" + narrow(missing) + "\" in the key store (NCryptDecrypt)",
                  std::string(error.what()));
    }
    // A key reached through a certificate fails under the signing call of
    // that way, unwrapped.
    try {
        repository.sign({1, 2, 3}, std::make_shared<KeyStorePrivateKey>(narrow(missing), true), "SHA256");
        ADD_FAILURE() << "no failure";
    } catch (const CapiException& error) {
        EXPECT_EQ("No key named \"" + narrow(missing) + "\" in the key store (CryptSignHashW)",
                  std::string(error.what()));
    }
    const std::wstring taken = token.createNamedKey();
    try {
        repository.createNamedKey(taken, 2048);
        ADD_FAILURE() << "no failure";
    } catch (const CapiException& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("exists already (NCryptCreatePersistedKey)"))
            << error.what();
    }
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
