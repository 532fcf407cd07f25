// The module as other programs use it, each registered the way a user
// registers it: pkcs11-tool and the OpenSSL engine by the module's path,
// p11tool through p11-kit and pdfsig through the NSS database that
// 'orvanectl provider install' writes.

#include "tests/provider/ProviderFixture.h"

#include "tests/mock/OpenSslTool.h"
#include "tests/mock/TempDir.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace orvane::test {
namespace {

const std::string kOrvanectl = ORVANE_BINARY_DIR "/app/ctl/orvanectl";

class ProgramsTest : public ProviderTest {};

std::vector<std::string> pkcs11Tool(const ModuleKey& key, std::vector<std::string> more)
{
    std::vector<std::string> argv = {"/usr/bin/pkcs11-tool", "--module", ProviderTest::modulePath(),
                                     "--slot-index", key.slotIndex};
    if (!key.pin.empty())
        argv.insert(argv.end(), {"--login", "--pin", key.pin});
    argv.insert(argv.end(), more.begin(), more.end());
    return argv;
}

// The certificate of `key` in PEM, as pkcs11-tool reads it from the token.
std::string certificateOf(const ModuleKey& key)
{
    const ProcessResult read = ProviderTest::run(pkcs11Tool(
        key, {"--read-object", "--type", "cert", "--id", key.id, "--output-file", ProviderTest::file("cert.der")}));
    EXPECT_EQ(read.exitCode, 0) << read.err;
    return openssl({"x509", "-inform", "DER", "-in", ProviderTest::file("cert.der")});
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
    const ProcessResult slots = run({"/usr/bin/pkcs11-tool", "--module", modulePath(), "--list-token-slots"});
    ASSERT_EQ(slots.exitCode, 0) << slots.err;
    EXPECT_NE(slots.out.find("kestrel no "), std::string::npos) << slots.out;
    EXPECT_NE(slots.out.find("harrier de "), std::string::npos) << slots.out;
    EXPECT_NE(slots.out.find("PIN pad present"), std::string::npos) << slots.out;  // the phone's token
    EXPECT_NE(slots.out.find("login required"), std::string::npos) << slots.out;   // the cloud's token

    for (const ModuleKey& key : {phoneKey, cloudKey}) {
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
    const std::string document = "Contrato de locação, versão final\n";
    writeFile(file("document.txt"), document);
    for (const ModuleKey& key : {phoneKey, cloudKey}) {
        const ProcessResult signing = run(pkcs11Tool(key, {"--sign", "--mechanism", "SHA256-RSA-PKCS", "--id", key.id,
                                                           "--input-file", file("document.txt"), "--output-file",
                                                           file("signature")}));
        ASSERT_EQ(signing.exitCode, 0) << signing.err;
        EXPECT_TRUE(opensslVerifies(certificateOf(key), document, readFile(file("signature")))) << key.slotIndex;
    }
}

// pkcs11-tool prints the value in hexadecimal, and not every name.
TEST_F(ProgramsTest, PkcsToolGetsTheDocumentedReturnValues)
{
    writeFile(file("refused.txt"), "nobody signs this\n");
    const auto signWith = [&](const ModuleKey& key) {
        return run(pkcs11Tool(key, {"--sign", "--mechanism", "SHA256-RSA-PKCS", "--id", key.id, "--input-file",
                                    file("refused.txt"), "--output-file", file("refused.sig")}));
    };
    // The phone refuses every request as soon as it is made:
    // CKR_FUNCTION_REJECTED.
    std::atomic<bool> refusing{true};
    std::thread refuser([&] {
        while (refusing) {
            sandbox().answerPending("S", {}, false);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    const ProcessResult refused = signWith(phoneKey);
    refusing = false;
    refuser.join();
    EXPECT_NE(refused.err.find("(0x200)"), std::string::npos) << refused.err;

    // CKR_PIN_INCORRECT for a wrong PIN or one-time code, CKR_PIN_INVALID
    // for a PIN without its code.
    for (const auto& [pin, returnValue] : std::vector<std::pair<std::string, std::string>>{
             {"9999:246810", "(0xa0)"}, {"1234:111111", "(0xa0)"}, {"1234", "(0xa1)"}}) {
        const ProcessResult signing = signWith({cloudKey.slotIndex, cloudKey.id, pin});
        EXPECT_NE(signing.exitCode, 0) << pin;
        EXPECT_NE(signing.err.find(returnValue), std::string::npos) << pin << ": " << signing.err;
    }
}

TEST_F(ProgramsTest, P11ToolListsTheCertificatesThroughTheP11KitRegistration)
{
    const ProcessResult installed = run({kOrvanectl, "provider", "install", "--module", modulePath()});
    ASSERT_EQ(installed.exitCode, 0) << installed.err;
    const ProcessResult status = run({kOrvanectl, "provider", "status"});
    EXPECT_EQ(status.out, "p11-kit\t" + modulePath() + "\nnss\t" + modulePath() + "\n");

#ifdef ORVANE_SANITIZER_PRELOAD
    // p11tool with the sanitizer runtimes preloaded never finishes loading
    // the other modules p11-kit registers; the plain build covers it.
    GTEST_SKIP() << "p11tool does not run with preloaded sanitizer runtimes";
#endif
    const ProcessResult listed = run(asUser({"/usr/bin/p11tool", "--list-all-certs", "pkcs11:manufacturer=Orvane"}));
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    EXPECT_NE(listed.out.find("manufacturer=Orvane"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("model=Kestrel%20phone"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("model=Harrier%20cloud"), std::string::npos) << listed.out;

    const ProcessResult removed = run({kOrvanectl, "provider", "uninstall"});
    ASSERT_EQ(removed.exitCode, 0) << removed.err;
    EXPECT_EQ(run({kOrvanectl, "provider", "status"}).out, "p11-kit\tnot registered\nnss\tnot registered\n");
    const ProcessResult gone = run(asUser({"/usr/bin/p11tool", "--list-all-certs", "pkcs11:manufacturer=Orvane"}));
    EXPECT_EQ(gone.out.find("manufacturer=Orvane"), std::string::npos);
}

// A one-page PDF with nothing on the page; its cross-reference table gives
// each object's offset.
const char* const kEmptyPdf = "%PDF-1.7\n"
                              "1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"
                              "2 0 obj\n<< /Type /Pages /Kids [3 0 R] /Count 1 >>\nendobj\n"
                              "3 0 obj\n<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] >>\nendobj\n"
                              "xref\n0 4\n0000000000 65535 f \n0000000009 00000 n \n0000000058 00000 n \n"
                              "0000000115 00000 n \ntrailer\n<< /Size 4 /Root 1 0 R >>\nstartxref\n186\n%%EOF\n";

TEST_F(ProgramsTest, PdfsigSignsWithAPhoneKeyFromTheUsersNssDatabase)
{
    ASSERT_EQ(run({kOrvanectl, "provider", "install", "--module", modulePath()}).exitCode, 0);
    const std::string database = "sql:" + std::string(std::getenv("HOME")) + "/.pki/nssdb";
    // NSS logs in to every token that asks for it before it lists the
    // certificates, so the cloud account's PIN text goes as the password.
    const std::string password = cloudKey.pin;
    const ProcessResult nicks = run({"/usr/bin/pdfsig", "-nssdir", database, "-nss-pwd", password, "-list-nicks"});
    ASSERT_EQ(nicks.exitCode, 0) << nicks.out << nicks.err;
    // NSS names a token's certificate "token label:certificate label".
    const std::size_t at = nicks.out.find("kestrel no ");
    ASSERT_NE(at, std::string::npos) << nicks.out;
    const std::string nick = nicks.out.substr(at, nicks.out.find('\n', at) - at);

    approvePhones();
    writeFile(file("contrato.pdf"), kEmptyPdf);
    const ProcessResult signing = run({"/usr/bin/pdfsig", "-nssdir", database, "-nss-pwd", password, "-add-signature",
                                       "-nick", nick, "-reason", "Aprovado", file("contrato.pdf"),
                                       file("contrato-assinado.pdf")});
    ASSERT_EQ(signing.exitCode, 0) << signing.out << signing.err;
    const ProcessResult checked =
        run({"/usr/bin/pdfsig", "-nssdir", database, "-nss-pwd", password, file("contrato-assinado.pdf")});
    EXPECT_NE(checked.out.find("Signature Validation: Signature is Valid."), std::string::npos) << checked.out;
    EXPECT_NE(checked.out.find("Signer Certificate Common Name: ANA BEATRIZ SOUZA LIMA"), std::string::npos)
        << checked.out;
}

TEST_F(ProgramsTest, OpensslSignsThroughTheEngineWithAPkcs11Uri)
{
    writeFile(file("engine.cnf"), "openssl_conf = init\n[init]\nengines = engines\n[engines]\npkcs11 = pkcs11\n"
                                  "[pkcs11]\nengine_id = pkcs11\nMODULE_PATH = " + modulePath() + "\n");
    std::string uri = "pkcs11:model=Kestrel%20phone;type=private;id=";
    for (std::size_t i = 0; i < phoneKey.id.size(); i += 2)
        uri += "%" + phoneKey.id.substr(i, 2);
    const std::string receipt = "Recebi a quantia de R$ 1.500,00\n";
    writeFile(file("recibo.txt"), receipt);

    approvePhones();
    const ProcessResult signing = run({"/usr/bin/openssl", "dgst", "-engine", "pkcs11", "-keyform", "engine", "-sign",
                                       uri, "-sha256", "-out", file("recibo.sig"), file("recibo.txt")},
                                      {{"OPENSSL_CONF", file("engine.cnf")}});
    ASSERT_EQ(signing.exitCode, 0) << signing.out << signing.err;
    EXPECT_TRUE(opensslVerifies(certificateOf(phoneKey), receipt, readFile(file("recibo.sig"))));
}

} // namespace
} // namespace orvane::test
