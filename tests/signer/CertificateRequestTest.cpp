// PKCS#10 requests built by Repository and signed through the repository's
// own sign slot, checked by `openssl req` and Python's cryptography.

#include "signer/ArchiveRepository.h"
#include "signer/Exceptions.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>

#include <algorithm>
#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

struct CheckedRequest {
    bool verified = false;
    std::string text;  // `openssl req -text`
};

CheckedRequest checkWithOpenssl(const CertificateRequest& request, const orvane::test::TempDir& dir)
{
    const std::string path = dir.file("request.pem");
    orvane::test::writeFile(path, request.toPem());
    CheckedRequest checked;
    std::string err;
    const int status = opensslStatus({"req", "-in", path, "-verify", "-noout", "-text"},
                                     &checked.text, &err);
    checked.verified = status == 0 && (err + checked.text).find("verify OK") != std::string::npos;
    return checked;
}

std::string subjectOf(const std::string& text)
{
    const auto at = text.find("Subject: ");
    return text.substr(at + 9, text.find('\n', at) - at - 9);
}

std::string pythonCheck(const CertificateRequest& request, const orvane::test::TempDir& dir)
{
    const std::string path = dir.file("request.der");
    orvane::test::writeFile(path, asText(request.toDer()));
    const std::string script = R"PY(
import sys
from cryptography import x509
request = x509.load_der_x509_csr(open(sys.argv[1], "rb").read())
print("valid", request.is_signature_valid)
print("algorithm", request.signature_algorithm_oid.dotted_string)
for extension in request.extensions:
    print("extension", extension.oid.dotted_string, extension.critical)
    if isinstance(extension.value, x509.SubjectAlternativeName):
        for name in extension.value:
            if isinstance(name, x509.OtherName):
                print("othername", name.type_id.dotted_string, name.value.hex())
            else:
                value = name.value
                text = getattr(value, "dotted_string", None) or getattr(value, "rfc4514_string", lambda: value)()
                print("name", type(name).__name__, text)
)PY";
    const orvane::test::ProcessResult result = orvane::test::runProcess({ORVANE_SYSTEM_PYTHON, "-c", script, path});
    EXPECT_EQ(0, result.exitCode) << result.err;
    return result.out;
}

template <class F>
std::string keyPairFailure(F&& action)
{
    return failureOf<KeyPairGenerationException>(action);
}

TEST(CertificateRequests, FullRequestVerifiesAndCarriesTheAcceptedNames)
{
    orvane::test::TempDir dir;
    ArchiveRepository repository;
    const std::vector<SubjectEntry> subject = {
        {"C", "", "BR"},
        {"O", "", "ICP-Brasil"},
        {"noSuchAttribute", "", "Goes Under OU"},
        {"CN", "", "ANA MARIA:12345678901"},
    };
    const std::vector<AltNameEntry> altNames = {
        {"subjectAltName", "1", "", "ana.maria@example.com.br", {}},
        {"subjectAltName", "1", "", "Ana.Maria@Example.com", {}},  // capitals: left out
        {"subjectAltName", "0", "2.16.76.1.3.1", "01021980123456789010000000000000000000000000000SSPSP", {}},
        {"subjectAltName", "0", "", "no type: left out", {}},
        {"subjectAltName", "2", "", "host.example.com", {}},
        {"subjectAltName", "6", "", "https://valmora.example/cps", {}},
        {"subjectAltName", "4", "", "", {{"C", "", "BR"}, {"O", "", "Diretorio"}}},
        {"subjectAltName", "8", "", "1.3.6.1.4.1.99999.7=orvaneRid=Orvane Registered Id", {}},
        {"subjectAltName", "8", "", "1.3.6.1.4.1.99999.8=two parts", {}},  // left out
        {"subjectAltName", "3", "", "x400", {}},                             // never built
        {"subjectAltName", "5", "", "edi", {}},                              // never built
        {"issuerAltName", "2", "", "not.this.one", {}},                     // another extension
        {"2.5.29.17", "2", "", "by.number.example", {}},
    };
    const CertificateRequest request = repository.createRequest(L"Orvane.req", subject, altNames, 2048);
    EXPECT_EQ(ArchiveState::KeyOnly, repository.state());

    const CheckedRequest checked = checkWithOpenssl(request, dir);
    EXPECT_TRUE(checked.verified) << checked.text;
    const std::string& text = checked.text;
    EXPECT_EQ("C = BR, O = ICP-Brasil, OU = Goes Under OU, CN = ANA MARIA:12345678901", subjectOf(text));
    EXPECT_NE(std::string::npos, text.find("Version: 1 (0x0)"));
    EXPECT_NE(std::string::npos, text.find("Signature Algorithm: sha256WithRSAEncryption"));
    EXPECT_NE(std::string::npos, text.find("X509v3 Key Usage: critical\n                    Digital Signature, Key Encipherment"))
        << text;

    // The key in the request is the one the repository holds, and nothing
    // else got in: checked independently by Python's cryptography.
    const std::string python = pythonCheck(request, dir);
    EXPECT_NE(std::string::npos, python.find("valid True")) << python;
    EXPECT_NE(std::string::npos, python.find("algorithm 1.2.840.113549.1.1.11"));
    EXPECT_NE(std::string::npos, python.find("extension 2.5.29.15 True"));
    EXPECT_NE(std::string::npos, python.find("extension 2.5.29.17 False"));
    // The otherName value is a UTF8String (tag 0x0c, 52 bytes) of the text.
    const std::string value = "01021980123456789010000000000000000000000000000SSPSP";
    std::string hex = hexWithBlanks(Bytes{0x0c, 52}) + " " + hexWithBlanks(Bytes(value.begin(), value.end()));
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    EXPECT_NE(std::string::npos, python.find("othername 2.16.76.1.3.1 " + hex)) << python;
    std::vector<std::string> names;
    std::istringstream lines(python);
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("name ", 0) == 0)
            names.push_back(line.substr(5));
    EXPECT_EQ((std::vector<std::string>{"RFC822Name ana.maria@example.com.br", "DNSName host.example.com",
                                        "UniformResourceIdentifier https://valmora.example/cps",
                                        "DirectoryName O=Diretorio,C=BR", "RegisteredID 1.3.6.1.4.1.99999.7",
                                        "DNSName by.number.example"}),
              names)
        << python;
}

TEST(CertificateRequests, DefaultRequestAndRequestsWithoutAlternativeNames)
{
    orvane::test::TempDir dir;
    ArchiveRepository repository;
    const CertificateRequest request = repository.createDefaultRequest(L"Orvane.default", 2048);
    const CheckedRequest checked = checkWithOpenssl(request, dir);
    EXPECT_TRUE(checked.verified) << checked.text;
    EXPECT_EQ("C = BR, ST = Sao Paulo, O = valmora.com.br, OU = Produtos, CN = Valmora Certificadora Digital SA",
              subjectOf(checked.text));
    EXPECT_NE(std::string::npos, checked.text.find("X509v3 Key Usage: critical"));
    EXPECT_EQ(std::string::npos, checked.text.find("Subject Alternative Name"));

    // An empty subject list means the fixed subject too; an alternative name
    // list whose every entry is left out adds no extension, and the key
    // usage is always there.
    const CertificateRequest skipped = repository.createRequest(
        L"Orvane.skip", {}, {{"subjectAltName", "1", "", "UPPER@EXAMPLE.COM", {}}}, 2048);
    const CheckedRequest second = checkWithOpenssl(skipped, dir);
    EXPECT_TRUE(second.verified) << second.text;
    EXPECT_EQ(subjectOf(checked.text), subjectOf(second.text));
    EXPECT_EQ(std::string::npos, second.text.find("Subject Alternative Name"));
    EXPECT_NE(std::string::npos, second.text.find("X509v3 Key Usage: critical"));
    // Each request has a key of its own.
    EXPECT_NE(request.toDer(), skipped.toDer());
}

TEST(CertificateRequests, FailuresAreKeyPairGenerationErrors)
{
    ArchiveRepository repository;
    const std::vector<SubjectEntry> subject = {{"CN", "", "x"}};
    const std::vector<std::pair<AltNameEntry, std::string>> badNames = {
        {{"subjectAltName", "7", "", "10.0.0.1", {}}, "iPAddress selected"},
        {{"subjectAltName", "9", "", "x", {}}, "default case"},
        {{"subjectAltName", "-1", "", "x", {}}, "default case"},
        {{"subjectAltName", "4", "", "", {{"notAnAttribute", "", "v"}}}, "directoryName"},
        {{"subjectAltName", "0", "not an oid", "v", {}}, "otherName"},
    };
    for (const auto& [name, what] : badNames)
        EXPECT_EQ("Error during key pair generation: Error creating X509_EXTENSION - " + what,
                  keyPairFailure([&] { repository.createRequest(L"k", subject, {name}, 1024); }));
    // A country of three letters does not fit its attribute.
    EXPECT_EQ("Error during key pair generation: Error creating X509_NAME_ENTRY",
              keyPairFailure([&] { repository.createRequest(L"k", {{"C", "", "BRA"}}, {}, 1024); }));
    // A kind that is no number reads as 0, an otherName without type: left out.
    orvane::test::TempDir dir;
    const CertificateRequest request =
        repository.createRequest(L"k", subject, {{"subjectAltName", "abc", "", "x", {}}}, 1024);
    EXPECT_TRUE(checkWithOpenssl(request, dir).verified);

    // A repository without keys fails in its own generation step.
    MemoryRepository keyless;
    EXPECT_EQ("Error during key pair generation: this repository holds no keys",
              keyPairFailure([&] { keyless.createDefaultRequest(L"k", 2048); }));
}

TEST(CertificateRequests, EmailExpression)
{
    for (const char* accepted : {"a@b.co", "ana.maria+tag@example.com.br", "x!#$%&'*+/=?^_{|}~-@ex-ample.org",
                                 "\"quoted.name\"@example.com", "user@[192.168.0.1]", "user@[1.2.3.tag:AZ\\q]",
                                 "1@2.3"}) {
        EXPECT_TRUE(Repository::isAcceptedEmail(accepted)) << accepted;
    }
    for (const char* refused : {"", "A@b.co", "a@B.co", "a@b", "a.@b.co", ".a@b.co", "a@-b.co", "a@b-.co",
                                "a b@c.de", "\"quoted name\"@example.com", "a@[256.1.1.1]", "a@b.co ", "\xc3\xa1@b.co"}) {
        EXPECT_FALSE(Repository::isAcceptedEmail(refused)) << refused;
    }
    // Long input is matched without trouble.
    EXPECT_TRUE(Repository::isAcceptedEmail(std::string(200, 'a') + "@" + std::string(60, 'b') + ".com"));
}

} // namespace
