// What Repository builds for every kind of repository: searches and
// certification paths over the real ICP-Brasil authorities, and PKCS#10
// requests signed through the repository's own sign slot, checked by the
// openssl tool and Python's cryptography. A key-only archive holds the
// authorities: it takes any.

#include "signer/ArchiveRepository.h"
#include "signer/Exceptions.h"
#include "signer/OpenSslPtr.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <openssl/rsa.h>

#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

ArchiveRepository holding(const std::vector<Certificate>& authorities)
{
    // A key that no test certificate carries: the archive would take a
    // certificate of its own key as its own, not as an authority.
    static const std::shared_ptr<EVP_PKEY> key = shareKey(EVP_RSA_gen(1024));
    ArchiveRepository archive(key, L"k", L"");
    for (const Certificate& authority : authorities)
        EXPECT_TRUE(archive.addCertificate(authority));
    return archive;
}

std::vector<Certificate> allAuthorities()
{
    std::vector<Certificate> certificates;
    for (const auto& list : {realFiles("ca/roots"), realFiles("ca/intermediates"), realFiles("ca/test-pki")})
        for (const std::string& file : list)
            certificates.push_back(loadCertificate(file));
    return certificates;
}

// What `openssl req -verify -text` prints of a request; nothing when its
// signature does not verify.
std::string verifiedText(const CertificateRequest& request)
{
    std::string out, err;
    const int status = opensslStatus({"req", "-verify", "-noout", "-text"}, &out, &err, request.toPem());
    return status == 0 && (err + out).find("verify OK") != std::string::npos ? out : "";
}

std::string subjectOf(const std::string& text)
{
    const auto at = text.find("Subject: ");
    return at == std::string::npos ? "(unverified)" : text.substr(at + 9, text.find('\n', at) - at - 9);
}

std::string pythonCheck(const CertificateRequest& request)
{
    const std::string script = R"PY(
import sys
from cryptography import x509
request = x509.load_der_x509_csr(sys.stdin.buffer.read())
print("valid", request.is_signature_valid)
print("algorithm", request.signature_algorithm_oid.dotted_string)
for extension in request.extensions:
    print("extension", extension.oid.dotted_string, extension.critical)
    if isinstance(extension.value, x509.SubjectAlternativeName):
        for name in extension.value:
            if isinstance(name, x509.OtherName):
                print("othername", name.type_id.dotted_string, name.value[:2].hex(), name.value[2:].decode())
            else:
                value = name.value
                text = getattr(value, "dotted_string", None) or getattr(value, "rfc4514_string", lambda: value)()
                print("name", type(name).__name__, text)
)PY";
    const orvane::test::ProcessResult result =
        orvane::test::runProcess({ORVANE_SYSTEM_PYTHON, "-c", script}, asText(request.toDer()));
    EXPECT_EQ(0, result.exitCode) << result.err;
    return result.out;
}

TEST(RepositoryChains, EveryRealEndEntityReachesItsRootAsOpensslSaysIt)
{
    orvane::test::TempDir dir;
    std::string roots, untrusted;
    for (const Certificate& authority : allAuthorities())
        (authority.isRoot() ? roots : untrusted) += authority.toPem();
    orvane::test::writeFile(dir.file("roots.pem"), roots);
    orvane::test::writeFile(dir.file("untrusted.pem"), untrusted);
    ArchiveRepository repository = holding(allAuthorities());
    for (const std::string& leaf : realFiles("end-entity")) {
        SCOPED_TRACE(leaf);
        // The tool prints "depth=0: C = BR, O = ..., CN = name" per depth, leaf first.
        std::istringstream lines(openssl({"verify", "-no_check_time", "-show_chain", "-CAfile", dir.file("roots.pem"),
                                          "-untrusted", dir.file("untrusted.pem"), icpBrasil(leaf)}));
        std::vector<std::string> tool;
        for (std::string line; std::getline(lines, line);)
            if (line.rfind("depth=", 0) == 0) {
                std::string name = line.substr(line.rfind("CN = ") + 5);
                for (const char* tail : {" (untrusted)", ", emailAddress = "})
                    name = name.substr(0, name.find(tail));
                tool.push_back(name);
            }
        const CertificateChain chain = repository.buildChain(loadCertificate(leaf));
        EXPECT_EQ(ChainComplete, chain.status);
        std::vector<std::string> ours;
        for (const Certificate& certificate : chain.certificates)
            ours.push_back(certificate.commonName());
        EXPECT_EQ(tool, ours);
    }
}

TEST(RepositoryChains, RootsPartialChainsLoopsAndAuthoritiesOfTheRightNameButAnotherKey)
{
    ArchiveRepository repository = holding(allAuthorities());
    const Certificate root = loadCertificate("ca/roots/icp-brasil-raiz-v2.pem");
    const CertificateChain rootChain = repository.buildChain(root);
    EXPECT_EQ(ChainComplete, rootChain.status);
    EXPECT_EQ(1u, rootChain.certificates.size());
    EXPECT_EQ("Certificate not found: This Certificate is self-signed",
              failureOf<CertificateNotFoundException>([&] { repository.findIssuer(root); }));

    // Without the root the walk stops at the last authority that was found.
    ArchiveRepository withoutRoot =
        holding({loadCertificate("ca/intermediates/ac-digitalsign-rfb.pem"),
                 loadCertificate("ca/intermediates/ac-secretaria-da-receita-federal-do-brasil-v3.pem")});
    const CertificateChain partial =
        withoutRoot.buildChain(loadCertificate("end-entity/ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015.pem"));
    EXPECT_EQ(ChainPartial, partial.status);
    ASSERT_EQ(3u, partial.certificates.size());
    EXPECT_EQ("AC Secretaria da Receita Federal do Brasil v3", partial.certificates[2].detail().subjectDisplayName);
    ArchiveRepository empty = holding({});
    const Certificate kabum = loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem");
    EXPECT_EQ(ChainPartial, empty.buildChain(kabum).status);
    EXPECT_EQ("Certificate not found: Issuer not found",
              failureOf<CertificateNotFoundException>([&] { empty.findIssuer(kabum); }));

    // Two roots with one name; only the second signed the leaf.
    auto twinRoot = [](EVP_PKEY* key, long serial) {
        return CertificateBuilder()
            .subject({{"C", "BR"}, {"CN", "Twin Root"}})
            .extension("basicConstraints", "critical,CA:TRUE")
            .serial(serial)
            .publicKey(key)
            .signWith(key)
            .build();
    };
    const Certificate impostor = twinRoot(otherTestKey(), 1), real = twinRoot(testKey(), 2);
    const Certificate leaf =
        CertificateBuilder().subject({{"CN", "Leaf"}}).issuer({{"C", "BR"}, {"CN", "Twin Root"}}).build();
    EXPECT_TRUE(holding({impostor, real}).findIssuer(leaf) == real);
    EXPECT_THROW(holding({impostor}).findIssuer(leaf), CertificateNotFoundException);

    // Authorities that certify each other, neither a root, end the walk.
    auto authority = [](const char* subject, const char* issuer) {
        return CertificateBuilder()
            .subject({{"CN", subject}})
            .issuer({{"CN", issuer}})
            .extension("basicConstraints", "critical,CA:TRUE")
            .build();
    };
    const CertificateChain loop = holding({authority("A", "B"), authority("B", "A")}).buildChain(authority("A", "B"));
    EXPECT_EQ(ChainOtherError, loop.status);
    EXPECT_EQ(2u, loop.certificates.size());
}

TEST(RepositorySearches, FindFirstFingerprintAndIssuerSerial)
{
    ArchiveRepository repository = holding(allAuthorities());
    EXPECT_EQ("Certificate not found: ", failureOf<CertificateNotFoundException>([&] {
                  repository.findFirst([](const Certificate&) { return false; });
              }));

    const Certificate wanted = loadCertificate("ca/intermediates/ac-syngularid.pem");
    EXPECT_TRUE(repository.findByFingerprint(wanted.fingerprint()) == wanted);
    EXPECT_EQ("Certificate not found: Fingerprint: 00 11",
              failureOf<CertificateNotFoundException>([&] { repository.findByFingerprint("00 11"); }));

    EXPECT_TRUE(repository.findByIssuerAndSerial(wanted.issuerName(), wanted.serialNumber()) == wanted);
    const Certificate other = loadCertificate("ca/intermediates/ac-certisign-g6.pem");
    EXPECT_THROW(repository.findByIssuerAndSerial(other.issuerName(), wanted.serialNumber()),
                 CertificateNotFoundException);
    int asked = 0;
    repository.findFirst([&asked](const Certificate&) { return ++asked > 0; });
    EXPECT_EQ(1, asked) << "findFirst stops at the first match";

    int seen = 0;
    repository.forEachCertificate(RootFilter, [&seen](const Certificate& c) {
        EXPECT_TRUE(c.isRoot());
        ++seen;
    });
    EXPECT_EQ(11, seen);  // ten ICP-Brasil roots but v7, and the two test roots
}

TEST(CertificateRequests, FullRequestVerifiesAndCarriesTheAcceptedNames)
{
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
        {"issuerAltName", "2", "", "not.this.one", {}},                     // another extension
        {"2.5.29.17", "2", "", "by.number.example", {}},
    };
    const CertificateRequest request = repository.createRequest(L"Orvane.req", subject, altNames, 2048);
    EXPECT_EQ(ArchiveState::KeyOnly, repository.state());

    const std::string text = verifiedText(request);
    EXPECT_EQ("C = BR, O = ICP-Brasil, OU = Goes Under OU, CN = ANA MARIA:12345678901", subjectOf(text));
    EXPECT_NE(std::string::npos, text.find("Version: 1 (0x0)"));

    // Read on its own by Python's cryptography: a valid signature, and the
    // names that got in, nothing else.
    EXPECT_EQ("valid True\n"
              "algorithm 1.2.840.113549.1.1.11\n"
              "extension 2.5.29.17 False\n"
              "name RFC822Name ana.maria@example.com.br\n"
              // The otherName value is a UTF8String (tag 0x0c, 52 bytes) of the text.
              "othername 2.16.76.1.3.1 0c34 01021980123456789010000000000000000000000000000SSPSP\n"
              "name DNSName host.example.com\n"
              "name UniformResourceIdentifier https://valmora.example/cps\n"
              "name DirectoryName O=Diretorio,C=BR\n"
              "name RegisteredID 1.3.6.1.4.1.99999.7\n"
              "name DNSName by.number.example\n"
              "extension 2.5.29.15 True\n",  // key usage, critical
              pythonCheck(request));
}

TEST(CertificateRequests, DefaultRequestAndRequestsWithoutAlternativeNames)
{
    ArchiveRepository repository;
    const CertificateRequest request = repository.createDefaultRequest(L"Orvane.default", 2048);
    const std::string text = verifiedText(request);
    EXPECT_EQ("C = BR, ST = Sao Paulo, O = valmora.com.br, OU = Produtos, CN = Valmora Certificadora Digital SA",
              subjectOf(text));
    EXPECT_NE(std::string::npos, text.find("X509v3 Key Usage: critical"));
    EXPECT_EQ(std::string::npos, text.find("Subject Alternative Name"));

    // An empty subject list means the fixed subject too; an alternative name
    // list whose every entry is left out adds no extension, and the key
    // usage is always there.
    const CertificateRequest skipped = repository.createRequest(
        L"Orvane.skip", {}, {{"subjectAltName", "1", "", "UPPER@EXAMPLE.COM", {}}}, 2048);
    const std::string second = verifiedText(skipped);
    EXPECT_EQ(subjectOf(text), subjectOf(second));
    EXPECT_EQ(std::string::npos, second.find("Subject Alternative Name"));
    EXPECT_NE(std::string::npos, second.find("X509v3 Key Usage: critical"));
    EXPECT_NE(request.toDer(), skipped.toDer()) << "each request has a key of its own";
}

TEST(CertificateRequests, FailuresAreKeyPairGenerationErrors)
{
    ArchiveRepository repository;
    const std::vector<SubjectEntry> subject = {{"CN", "", "x"}};
    const std::vector<std::pair<AltNameEntry, std::string>> badNames = {
        {{"subjectAltName", "7", "", "10.0.0.1", {}}, "iPAddress selected"},
        {{"subjectAltName", "9", "", "x", {}}, "default case"},
        {{"subjectAltName", "4", "", "", {{"notAnAttribute", "", "v"}}}, "directoryName"},
        {{"subjectAltName", "0", "not an oid", "v", {}}, "otherName"},
    };
    for (const auto& [name, what] : badNames)
        EXPECT_EQ("Error during key pair generation: Error creating X509_EXTENSION - " + what,
                  failureOf<KeyPairGenerationException>([&] { repository.createRequest(L"k", subject, {name}, 1024); }));
    // A country of three letters does not fit its attribute.
    EXPECT_EQ("Error during key pair generation: Error creating X509_NAME_ENTRY",
              failureOf<KeyPairGenerationException>([&] { repository.createRequest(L"k", {{"C", "", "BRA"}}, {}, 1024); }));
    // A kind that is no number reads as 0, an otherName without type: left out.
    EXPECT_EQ("CN = x", subjectOf(verifiedText(
                            repository.createRequest(L"k", subject, {{"subjectAltName", "abc", "", "x", {}}}, 1024))));

    // A key the repository cannot make fails in its own generation step.
    EXPECT_THROW(repository.createDefaultRequest(L"k", 16), KeyPairGenerationException);
}

} // namespace
