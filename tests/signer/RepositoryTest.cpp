// The searches and certification paths that Repository builds on a visit,
// over the real ICP-Brasil authorities.

#include "signer/Exceptions.h"
#include "signer/Repository.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

std::vector<Certificate> allAuthorities()
{
    std::vector<Certificate> certificates;
    for (const auto& list : {realRoots(), realIntermediates()})
        for (const std::string& file : list)
            certificates.push_back(loadCertificate(file));
    for (const char* file : {"ca/test-pki/lacuna-ca.pem", "ca/test-pki/lacuna-root-test-v1.pem",
                             "ca/test-pki/nfe-teste-ac-intermediaria-1.pem", "ca/test-pki/nfe-teste-ac-raiz.pem"})
        certificates.push_back(loadCertificate(file));
    return certificates;
}

// The common names of the chain that `openssl verify -show_chain` builds,
// leaf first (the tool prints "depth=0: C = BR, O = ..., CN = name" per depth).
std::vector<std::string> opensslChain(const std::string& leaf, const orvane::test::TempDir& dir)
{
    std::ofstream roots(dir.file("roots.pem"));
    std::ofstream untrusted(dir.file("untrusted.pem"));
    for (const std::string& file : realRoots())
        roots << readFileBytes(icpBrasil(file));
    roots << readFileBytes(icpBrasil("ca/test-pki/lacuna-root-test-v1.pem"))
          << readFileBytes(icpBrasil("ca/test-pki/nfe-teste-ac-raiz.pem"));
    for (const std::string& file : realIntermediates())
        untrusted << readFileBytes(icpBrasil(file));
    untrusted << readFileBytes(icpBrasil("ca/test-pki/lacuna-ca.pem"))
              << readFileBytes(icpBrasil("ca/test-pki/nfe-teste-ac-intermediaria-1.pem"));
    roots.close();
    untrusted.close();
    const std::string out = openssl({"verify", "-no_check_time", "-show_chain", "-CAfile",
                                     dir.file("roots.pem"), "-untrusted", dir.file("untrusted.pem"), icpBrasil(leaf)});
    std::vector<std::string> subjects;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line))
        if (line.rfind("depth=", 0) == 0) {
            std::string name = line.substr(line.rfind("CN = ") + 5);
            for (const char* tail : {" (untrusted)", ", emailAddress = "}) {
                const auto mark = name.find(tail);
                if (mark != std::string::npos)
                    name.erase(mark);
            }
            subjects.push_back(name);
        }
    return subjects;
}

TEST(RepositoryChains, EveryRealEndEntityReachesItsRootAsOpensslSaysIt)
{
    orvane::test::TempDir dir;
    MemoryRepository repository(allAuthorities());
    for (const std::string& leaf : realEndEntities()) {
        SCOPED_TRACE(leaf);
        const CertificateChain chain = repository.buildChain(loadCertificate(leaf));
        EXPECT_EQ(ChainComplete, chain.status);
        std::vector<std::string> ours;
        for (const Certificate& certificate : chain.certificates)
            ours.push_back(certificate.commonName());
        EXPECT_EQ(opensslChain(leaf, dir), ours);
        EXPECT_TRUE(chain.certificates.back().isRoot());
    }
    // One spelled out: e-CNPJ of KABUM -> AC Certisign RFB G5 -> AC RFB v4 -> Raiz v5.
    const CertificateChain kabum =
        repository.buildChain(loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem"));
    ASSERT_EQ(4u, kabum.certificates.size());
    EXPECT_TRUE(kabum.certificates[1] == loadCertificate("ca/intermediates/ac-certisign-rfb-g5.pem"));
    EXPECT_TRUE(kabum.certificates[2] ==
                loadCertificate("ca/intermediates/ac-secretaria-da-receita-federal-do-brasil-v4.pem"));
    EXPECT_TRUE(kabum.certificates[3] == loadCertificate("ca/roots/icp-brasil-raiz-v5.pem"));
}

TEST(RepositoryChains, RootsPartialChainsAndSelfSignedIssuers)
{
    MemoryRepository repository(allAuthorities());
    const Certificate root = loadCertificate("ca/roots/icp-brasil-raiz-v2.pem");
    const CertificateChain rootChain = repository.buildChain(root);
    EXPECT_EQ(ChainComplete, rootChain.status);
    ASSERT_EQ(1u, rootChain.certificates.size());
    try {
        repository.findIssuer(root);
        FAIL();
    } catch (const CertificateNotFoundException& error) {
        EXPECT_STREQ("Certificate not found: This Certificate is self-signed", error.what());
    }

    // Without the root the walk stops at the last authority that was found.
    MemoryRepository withoutRoot({loadCertificate("ca/intermediates/ac-digitalsign-rfb.pem"),
                                  loadCertificate("ca/intermediates/ac-secretaria-da-receita-federal-do-brasil-v3.pem")});
    const CertificateChain partial =
        withoutRoot.buildChain(loadCertificate("end-entity/ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015.pem"));
    EXPECT_EQ(ChainPartial, partial.status);
    ASSERT_EQ(3u, partial.certificates.size());
    EXPECT_EQ("AC Secretaria da Receita Federal do Brasil v3", partial.certificates[2].detail().subjectDisplayName);

    MemoryRepository empty;
    const CertificateChain alone = empty.buildChain(loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem"));
    EXPECT_EQ(ChainPartial, alone.status);
    EXPECT_EQ(1u, alone.certificates.size());
    try {
        empty.findIssuer(alone.certificates[0]);
        FAIL();
    } catch (const CertificateNotFoundException& error) {
        EXPECT_STREQ("Certificate not found: Issuer not found", error.what());
    }
}

TEST(RepositoryChains, AnAuthorityWithTheRightNameButAnotherKeyIsPassedOver)
{
    // Two roots with one name; only the second signed the leaf.
    const Certificate impostor = CertificateBuilder()
                                     .subject({{"C", "BR"}, {"CN", "Twin Root"}})
                                     .extension("basicConstraints", "critical,CA:TRUE")
                                     .publicKey(otherTestKey())
                                     .signWith(otherTestKey())
                                     .build();
    const Certificate real = CertificateBuilder()
                                 .subject({{"C", "BR"}, {"CN", "Twin Root"}})
                                 .extension("basicConstraints", "critical,CA:TRUE")
                                 .serial(2)
                                 .build();
    const Certificate leaf = CertificateBuilder()
                                 .subject({{"CN", "Leaf"}})
                                 .issuer({{"C", "BR"}, {"CN", "Twin Root"}})
                                 .publicKey(otherTestKey())
                                 .build();
    MemoryRepository repository({impostor, real});
    EXPECT_TRUE(repository.findIssuer(leaf) == real);
    MemoryRepository onlyImpostor({impostor});
    EXPECT_THROW(onlyImpostor.findIssuer(leaf), CertificateNotFoundException);

    // Authorities that certify each other, neither a root, end the walk.
    const Certificate a = CertificateBuilder()
                              .subject({{"CN", "A"}})
                              .issuer({{"CN", "B"}})
                              .extension("basicConstraints", "critical,CA:TRUE")
                              .build();
    const Certificate b = CertificateBuilder()
                              .subject({{"CN", "B"}})
                              .issuer({{"CN", "A"}})
                              .extension("basicConstraints", "critical,CA:TRUE")
                              .build();
    MemoryRepository loop({a, b});
    const CertificateChain chain = loop.buildChain(a);
    EXPECT_EQ(ChainOtherError, chain.status);
    EXPECT_EQ(2u, chain.certificates.size());
}

TEST(RepositorySearches, FindFirstFingerprintAndIssuerSerial)
{
    MemoryRepository repository(allAuthorities());
    try {
        repository.findFirst([](const Certificate&) { return false; });
        FAIL();
    } catch (const CertificateNotFoundException& error) {
        EXPECT_STREQ("Certificate not found: ", error.what());
    }

    const Certificate wanted = loadCertificate("ca/intermediates/ac-syngularid.pem");
    EXPECT_TRUE(repository.findByFingerprint(wanted.fingerprint()) == wanted);
    try {
        repository.findByFingerprint("00 11");
        FAIL();
    } catch (const CertificateNotFoundException& error) {
        EXPECT_STREQ("Certificate not found: Fingerprint: 00 11", error.what());
    }

    EXPECT_TRUE(repository.findByIssuerAndSerial(wanted.issuerName(), wanted.serialNumber()) == wanted);
    const Certificate other = loadCertificate("ca/intermediates/ac-certisign-g6.pem");
    try {
        repository.findByIssuerAndSerial(other.issuerName(), wanted.serialNumber());
        FAIL();
    } catch (const CertificateNotFoundException& error) {
        std::ostringstream name;
        name << other.issuerName();
        EXPECT_EQ("Certificate not found: Issuer: " + name.str() + ", Serial Number: " + wanted.serialNumber(),
                  std::string(error.what()));
    }

    // findFirst stops at the first match.
    repository.visits = 0;
    repository.findFirst([](const Certificate&) { return true; });
    EXPECT_EQ(1, repository.visits);

    int seen = 0;
    repository.forEachCertificate(AnyCaFilter, [&seen](const Certificate&) { ++seen; });
    EXPECT_EQ(static_cast<int>(allAuthorities().size()), seen);
    seen = 0;
    repository.forEachCertificate(RootFilter, [&seen](const Certificate& c) {
        EXPECT_TRUE(c.isRoot());
        ++seen;
    });
    EXPECT_EQ(11, seen);  // ten ICP-Brasil roots but v7, and the two test roots
}

TEST(RepositorySigning, FailuresOfTheKeyLookupBecomeSignatureOrDecryptionErrors)
{
    MemoryRepository repository;
    const Certificate certificate = loadCertificate("ca/roots/icp-brasil-raiz-v2.pem");
    try {
        repository.signWithCertificate(Bytes{1, 2, 3}, certificate, "SHA256");
        FAIL();
    } catch (const SignatureException& error) {
        EXPECT_STREQ("Error at signing: Certificate not found: no keys here", error.what());
    }
    try {
        repository.signDigestWithCertificate(Bytes{1, 2, 3}, certificate, "SHA256");
        FAIL();
    } catch (const SignatureException& error) {
        EXPECT_STREQ("Error at signing: Certificate not found: no keys here", error.what());
    }
    try {
        repository.decryptWithCertificate(Bytes{1, 2, 3}, certificate);
        FAIL();
    } catch (const DecryptionException& error) {
        EXPECT_STREQ("Error at decrypting: Certificate not found: no keys here", error.what());
    }
}

} // namespace
