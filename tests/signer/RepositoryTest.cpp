// The searches and certification paths that Repository builds on a visit,
// over the real ICP-Brasil authorities.

#include "signer/Exceptions.h"
#include "signer/Repository.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

std::vector<Certificate> allAuthorities()
{
    std::vector<Certificate> certificates;
    for (const auto& list : {realRoots(), realIntermediates(), realTestAuthorities()})
        for (const std::string& file : list)
            certificates.push_back(loadCertificate(file));
    return certificates;
}

// The common names of the chain that `openssl verify -show_chain` builds,
// leaf first (the tool prints "depth=0: C = BR, O = ..., CN = name" per depth).
std::vector<std::string> opensslChain(const std::string& leaf, const orvane::test::TempDir& dir)
{
    std::string roots, untrusted;
    for (const Certificate& authority : allAuthorities())
        (authority.isRoot() ? roots : untrusted) += authority.toPem();
    orvane::test::writeFile(dir.file("roots.pem"), roots);
    orvane::test::writeFile(dir.file("untrusted.pem"), untrusted);
    const std::string out = openssl({"verify", "-no_check_time", "-show_chain", "-CAfile",
                                     dir.file("roots.pem"), "-untrusted", dir.file("untrusted.pem"), icpBrasil(leaf)});
    std::vector<std::string> subjects;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line))
        if (line.rfind("depth=", 0) == 0) {
            std::string name = line.substr(line.rfind("CN = ") + 5);
            for (const char* tail : {" (untrusted)", ", emailAddress = "})
                name = name.substr(0, name.find(tail));
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
    EXPECT_EQ("Certificate not found: This Certificate is self-signed",
              failureOf<CertificateNotFoundException>([&] { repository.findIssuer(root); }));

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
    EXPECT_EQ("Certificate not found: Issuer not found",
              failureOf<CertificateNotFoundException>([&] { empty.findIssuer(alone.certificates[0]); }));
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
    auto authority = [](const char* subject, const char* issuer) {
        return CertificateBuilder()
            .subject({{"CN", subject}})
            .issuer({{"CN", issuer}})
            .extension("basicConstraints", "critical,CA:TRUE")
            .build();
    };
    MemoryRepository loop({authority("A", "B"), authority("B", "A")});
    const CertificateChain chain = loop.buildChain(authority("A", "B"));
    EXPECT_EQ(ChainOtherError, chain.status);
    EXPECT_EQ(2u, chain.certificates.size());
}

TEST(RepositorySearches, FindFirstFingerprintAndIssuerSerial)
{
    MemoryRepository repository(allAuthorities());
    EXPECT_EQ("Certificate not found: ", failureOf<CertificateNotFoundException>([&] {
                  repository.findFirst([](const Certificate&) { return false; });
              }));

    const Certificate wanted = loadCertificate("ca/intermediates/ac-syngularid.pem");
    EXPECT_TRUE(repository.findByFingerprint(wanted.fingerprint()) == wanted);
    EXPECT_EQ("Certificate not found: Fingerprint: 00 11",
              failureOf<CertificateNotFoundException>([&] { repository.findByFingerprint("00 11"); }));

    EXPECT_TRUE(repository.findByIssuerAndSerial(wanted.issuerName(), wanted.serialNumber()) == wanted);
    const Certificate other = loadCertificate("ca/intermediates/ac-certisign-g6.pem");
    std::ostringstream name;
    name << other.issuerName();
    EXPECT_EQ("Certificate not found: Issuer: " + name.str() + ", Serial Number: " + wanted.serialNumber(),
              failureOf<CertificateNotFoundException>(
                  [&] { repository.findByIssuerAndSerial(other.issuerName(), wanted.serialNumber()); }));

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
    const std::string notFound = "Certificate not found: no keys here";
    EXPECT_EQ("Error at signing: " + notFound, failureOf<SignatureException>([&] {
                  repository.signWithCertificate(Bytes{1, 2, 3}, certificate, "SHA256");
              }));
    EXPECT_EQ("Error at signing: " + notFound, failureOf<SignatureException>([&] {
                  repository.signDigestWithCertificate(Bytes{1, 2, 3}, certificate, "SHA256");
              }));
    EXPECT_EQ("Error at decrypting: " + notFound,
              failureOf<DecryptionException>([&] { repository.decryptWithCertificate(Bytes{1, 2, 3}, certificate); }));
}

} // namespace
