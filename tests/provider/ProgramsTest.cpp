// The module as other programs use it, each registered the way a user
// registers it: pkcs11-tool and the OpenSSL engine by the module's path,
// p11tool through p11-kit and pdfsig through the NSS database that
// 'orvanectl provider install' writes.

#include "tests/provider/ProviderFixture.h"

#include "tests/mock/TempDir.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace orvane::test {
namespace {

const std::string kOrvanectl = ORVANE_BINARY_DIR "/app/ctl/orvanectl";

class ProgramsTest : public ProviderTest {};

std::vector<std::string> pkcs11Tool(const ModuleKey& key, std::vector<std::string> more)
{
    std::vector<std::string> argv = {"pkcs11-tool", "--module", ProviderTest::modulePath(), "--slot-index",
                                     key.slotIndex};
    if (!key.pin.empty())
        argv.insert(argv.end(), {"--login", "--pin", key.pin});
    argv.insert(argv.end(), more.begin(), more.end());
    return argv;
}

// The public key of a certificate that pkcs11-tool read from the token.
std::string publicKeyFile(const ModuleKey& key, const std::string& name)
{
    const ProcessResult read = ProviderTest::run(pkcs11Tool(
        key, {"--read-object", "--type", "cert", "--id", key.id, "--output-file", ProviderTest::file(name + ".der")}));
    EXPECT_EQ(read.exitCode, 0) << read.err;
    const ProcessResult pem = ProviderTest::run(
        {"openssl", "x509", "-inform", "DER", "-in", ProviderTest::file(name + ".der"), "-pubkey", "-noout"});
    EXPECT_EQ(pem.exitCode, 0) << pem.err;
    writeFile(ProviderTest::file(name + ".pub"), pem.out);
    return ProviderTest::file(name + ".pub");
}

// p11-kit reads a user's registrations only in programs that do not run as
// root; as root the program runs as "nobody", with the test's folders
// handed over to it.
std::vector<std::string> asUser(std::vector<std::string> argv)
{
    if (::getuid() != 0)
        return argv;
    const std::filesystem::path root = std::filesystem::path(std::getenv("HOME")).parent_path();
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
        EXPECT_EQ(::lchown(entry.path().c_str(), 65534, 65534), 0) << entry.path();
    EXPECT_EQ(::lchown(root.c_str(), 65534, 65534), 0);
    argv.insert(argv.begin(), {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    return argv;
}

TEST_F(ProgramsTest, PkcsToolListsATokenPerGroupAndTheObjectsOfEach)
{
    const ProcessResult slots = run({"pkcs11-tool", "--module", modulePath(), "--list-token-slots"});
    ASSERT_EQ(slots.exitCode, 0) << slots.err;
    EXPECT_NE(slots.out.find("kestrel no "), std::string::npos) << slots.out;
    EXPECT_NE(slots.out.find("harrier de "), std::string::npos) << slots.out;
    EXPECT_NE(slots.out.find("PIN pad present"), std::string::npos) << slots.out;  // the phone's token
    EXPECT_NE(slots.out.find("login required"), std::string::npos) << slots.out;   // the cloud's token

    for (const ModuleKey& key : {phoneKey(), cloudKey()}) {
        const ProcessResult objects = run(pkcs11Tool(key, {"--list-objects"}));
        ASSERT_EQ(objects.exitCode, 0) << objects.err;
        for (const char* expected : {"Certificate Object; type = X.509 cert", "Private Key Object; RSA",
                                     "Public Key Object; RSA 2048 bits", "sign", "ID:"})
            EXPECT_NE(objects.out.find(expected), std::string::npos) << key.slotIndex << ": " << objects.out;
    }
}

TEST_F(ProgramsTest, PkcsToolSignsWithAPhoneKeyAndACloudKeyAndOpensslVerifies)
{
    approvePhones();
    writeFile(file("document.txt"), "Contrato de locação, versão final\n");
    for (const ModuleKey& key : {phoneKey(), cloudKey()}) {
        const std::string signature = file("signature-" + key.slotIndex);
        const ProcessResult signing = run(pkcs11Tool(key, {"--sign", "--mechanism", "SHA256-RSA-PKCS", "--id", key.id,
                                                           "--input-file", file("document.txt"), "--output-file",
                                                           signature}));
        ASSERT_EQ(signing.exitCode, 0) << signing.err;
        const ProcessResult verified = run({"openssl", "dgst", "-sha256", "-verify", publicKeyFile(key, key.slotIndex),
                                            "-signature", signature, file("document.txt")});
        EXPECT_EQ(verified.exitCode, 0) << verified.out << verified.err;
        EXPECT_NE(verified.out.find("Verified OK"), std::string::npos) << verified.out;
    }
}

TEST_F(ProgramsTest, PkcsToolGetsTheDocumentedReturnValues)
{
    writeFile(file("refused.txt"), "nobody signs this\n");
    struct Case {
        const char* what;
        ModuleKey key;
        bool refuseOnPhone;
        const char* returnValue;
    };
    const Case cases[] = {
        // pkcs11-tool prints the value in hexadecimal, and not every name.
        {"the phone refuses", phoneKey(), true, "(0x200)"},                                           // CKR_FUNCTION_REJECTED
        {"a wrong PIN", {cloudKey().slotIndex, cloudKey().id, "9999:246810"}, false, "(0xa0)"},       // CKR_PIN_INCORRECT
        {"a wrong one-time code", {cloudKey().slotIndex, cloudKey().id, "1234:111111"}, false, "(0xa0)"},
        {"a PIN without its code", {cloudKey().slotIndex, cloudKey().id, "1234"}, false, "(0xa1)"},   // CKR_PIN_INVALID
    };
    for (const Case& c : cases) {
        if (c.refuseOnPhone)
            refusePhones();
        const ProcessResult signing = run(pkcs11Tool(c.key, {"--sign", "--mechanism", "SHA256-RSA-PKCS", "--id",
                                                             c.key.id, "--input-file", file("refused.txt"),
                                                             "--output-file", file("refused.sig")}));
        EXPECT_NE(signing.exitCode, 0) << c.what;
        EXPECT_NE(signing.err.find(c.returnValue), std::string::npos) << c.what << ": " << signing.err;
    }
}

TEST_F(ProgramsTest, P11ToolListsTheCertificatesThroughTheP11KitRegistration)
{
    const ProcessResult installed = run({kOrvanectl, "provider", "install", "--module", modulePath()});
    ASSERT_EQ(installed.exitCode, 0) << installed.err;
    const ProcessResult status = run({kOrvanectl, "provider", "status"});
    EXPECT_EQ(status.out, "p11-kit\t" + modulePath() + "\nnss\t" + modulePath() + "\n");

    const ProcessResult listed = run(asUser({"/usr/bin/p11tool", "--list-all-certs", "pkcs11:manufacturer=Orvane"}));
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    EXPECT_NE(listed.out.find("manufacturer=Orvane"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("model=Kestrel%20phone"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("model=Harrier%20cloud"), std::string::npos) << listed.out;

    const ProcessResult removed = run({kOrvanectl, "provider", "uninstall"});
    ASSERT_EQ(removed.exitCode, 0) << removed.err;
    EXPECT_EQ(run({kOrvanectl, "provider", "status"}).out, "p11-kit\tnot registered\nnss\tnot registered\n");
    EXPECT_EQ(run(asUser({"/usr/bin/p11tool", "--list-all-certs", "pkcs11:manufacturer=Orvane"})).out.find("manufacturer=Orvane"), std::string::npos);
}

} // namespace
} // namespace orvane::test
