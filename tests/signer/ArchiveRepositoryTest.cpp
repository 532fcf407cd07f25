// The PKCS#12 repository: its states, and everything it writes or signs
// checked by the openssl tool; the real test archives opened by it.

#include "signer/ArchiveRepository.h"
#include "signer/Exceptions.h"
#include "signer/OpenSslPtr.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;
using orvane::test::writeFile;

namespace {

// The authority has a key of its own; the archives hold testKey().
Certificate testAuthority()
{
    return CertificateBuilder()
        .subject({{"C", "BR"}, {"CN", "Test Authority"}})
        .extension("basicConstraints", "critical,CA:TRUE")
        .publicKey(otherTestKey())
        .signWith(otherTestKey())
        .build();
}

// An end entity of `key` (testKey() when none), issued by the test authority.
Certificate endEntity(long serial = 1, EVP_PKEY* key = nullptr, const std::string& commonName = "Holder")
{
    CertificateBuilder builder;
    builder.subject({{"CN", commonName}}).issuer({{"C", "BR"}, {"CN", "Test Authority"}}).serial(serial);
    if (key)
        builder.publicKey(key);
    return builder.signWith(otherTestKey()).build();
}

std::vector<std::string> visitedNames(ArchiveRepository& archive, RepositoryFilter filter, Then answer = Then::Continue)
{
    std::vector<std::string> names;
    archive.visitCertificates(filter, [&](const Certificate& c) {
        names.push_back(c.detail().subjectDisplayName);
        return answer;
    });
    return names;
}

TEST(ArchiveStates, EmptyAndKeyOnlyRefuseWhatTheyCannotDo)
{
    ArchiveRepository empty;
    EXPECT_EQ(ArchiveState::Empty, empty.state());
    const Certificate authority = testAuthority();
    std::ostringstream sink;
    EXPECT_EQ("Error at signing: There isn't any private key",
              failureOf<SignatureException>([&] { empty.privateKeyOf(authority); }));
    EXPECT_EQ("Error at adding certificate: Cannot extract public key. It lacks a public key.",
              failureOf<CertificateAdditionException>([&] { empty.addCertificate(authority); }));
    EXPECT_EQ("Error while searching certificates at repository: PKCS#12's Content is empty or user was not logged in",
              failureOf<CertificateSearchingException>([&] { visitedNames(empty, AllFilter); }));
    EXPECT_EQ("Error while serializing: Cannot save. It lacks either certificate, private key or CA.",
              failureOf<SerializationException>([&] { empty.saveArchive(L"x", sink); }));

    ArchiveRepository keyOnly(sharedTestKey(), L"Orvane.key", L"");
    EXPECT_EQ(ArchiveState::KeyOnly, keyOnly.state());
    EXPECT_EQ("Error at signing: Certificate not present",
              failureOf<SignatureException>([&] { keyOnly.privateKeyOf(authority); }));
    EXPECT_EQ("Error while serializing: Cannot save. It lacks either certificate, private key or CA.",
              failureOf<SerializationException>([&] { keyOnly.saveArchive(L"x", sink); }));
    EXPECT_TRUE(sink.str().empty());

    // A CA goes to the list and the state stays; an end entity for another
    // key is refused without a word; a root whose key is not RSA is still
    // welcome as an authority.
    EXPECT_TRUE(keyOnly.addCertificate(authority));
    EXPECT_EQ(ArchiveState::KeyOnly, keyOnly.state());
    EXPECT_EQ(std::vector<std::string>{"Test Authority"}, visitedNames(keyOnly, AllFilter));
    const EvpPkeyPtr strangerKey(EVP_RSA_gen(1024));
    EXPECT_FALSE(keyOnly.addCertificate(endEntity(1, strangerKey.get(), "Stranger")));
    EXPECT_TRUE(keyOnly.addCertificate(loadCertificate("ca/roots/icp-brasil-raiz-v4.pem")));
}

TEST(ArchiveStates, KeyAndCertificateLifecycle)
{
    ArchiveRepository archive(sharedTestKey(), L"k", L"second");
    const Certificate mine = endEntity();
    EXPECT_TRUE(archive.addCertificate(mine));
    EXPECT_EQ(ArchiveState::KeyAndCertificate, archive.state());
    // Twice: replaced, still true.
    const Certificate renewed = endEntity(9);
    EXPECT_TRUE(archive.addCertificate(renewed));
    EXPECT_TRUE(archive.certificate() == renewed);
    EXPECT_TRUE(archive.addCertificate(testAuthority()));
    EXPECT_NE(nullptr, archive.privateKeyOf(renewed));
    EXPECT_EQ("Error at signing: Certificate not match in this archive",
              failureOf<SignatureException>([&] { archive.privateKeyOf(mine); }));

    // The held certificate comes first when end entities are asked for; the
    // authority only when its category is; the held certificate's answer is
    // not looked at.
    EXPECT_EQ(std::vector<std::string>{"Holder"}, visitedNames(archive, PersonalFilter));
    EXPECT_EQ(std::vector<std::string>{"Test Authority"}, visitedNames(archive, AnyCaFilter));
    EXPECT_EQ((std::vector<std::string>{"Holder", "Test Authority"}), visitedNames(archive, AllFilter, Then::Stop));

    // Clones share the content; a new key takes the authorities with it.
    archive.clone()->generateKeyPair(L"fresh", 1024);
    EXPECT_EQ(ArchiveState::KeyOnly, archive.state());
    EXPECT_EQ(L"fresh", archive.keyName());
    EXPECT_TRUE(archive.certificate().isNull());
    EXPECT_TRUE(visitedNames(archive, AllFilter).empty());
    EXPECT_THROW(archive.generateKeyPair(L"tiny", 16), KeyPairGenerationException);
}

TEST(ArchiveFiles, SavedArchiveOpensWithTheOpensslToolAndAgainHere)
{
    orvane::test::TempDir dir;
    ArchiveRepository archive;
    const KeyPair pair = archive.generateKeyPair(L"Orvane.request", 2048);
    const EvpPkeyPtr key = pair.toEvp();
    const Certificate mine = endEntity(1, key.get(), "Jo\xc3\xa3o da Silva");
    const Certificate authority = testAuthority();
    const Certificate root = loadCertificate("ca/roots/icp-brasil-raiz-v5.pem");
    EXPECT_TRUE(archive.addCertificate(authority));
    EXPECT_TRUE(archive.addCertificate(root));
    EXPECT_TRUE(archive.addCertificate(mine));

    const std::wstring password = L"tidewave-\u00e7\u00e3";
    std::ostringstream stream;
    archive.saveArchive(password, stream);
    EXPECT_EQ(ArchiveState::Logged, archive.state());
    const std::string file = dir.file("saved.pfx");
    writeFile(file, stream.str());

    const std::string pass = "pass:tidewave-\xc3\xa7\xc3\xa3";
    const std::string everything = openssl({"pkcs12", "-in", file, "-passin", pass, "-nodes"});
    // The tool prints the friendly name's BMP characters as single bytes:
    // "\xe3" is the "\u00e3" that the UTF-8 common name carried.
    EXPECT_NE(std::string::npos, everything.find("friendlyName: Jo\xe3o da Silva"));
    // The key in it is the one whose public half the request would carry.
    EXPECT_EQ(mine.publicKey().toPem(), openssl({"pkey", "-pubout"}, everything));
    const std::string clientCert = openssl({"pkcs12", "-in", file, "-passin", pass, "-clcerts", "-nokeys"});
    EXPECT_TRUE(Certificate::fromText(clientCert) == mine);
    const std::string caCerts = openssl({"pkcs12", "-in", file, "-passin", pass, "-cacerts", "-nokeys"});
    EXPECT_NE(std::string::npos, caCerts.find(root.toPem()));
    EXPECT_NE(std::string::npos, caCerts.find(authority.toPem()));

    std::istringstream input(stream.str());
    ArchiveRepository reopened(input);
    EXPECT_EQ(ArchiveState::NotLogged, reopened.state());
    EXPECT_EQ("Error at signing: Not logged", failureOf<SignatureException>([&] { reopened.privateKeyOf(mine); }));
    EXPECT_EQ("Error at adding certificate: Cannot extract public key. It lacks a public key.",
              failureOf<CertificateAdditionException>([&] { reopened.addCertificate(mine); }));
    const std::string wrong = failureOf<RepositoryAccessException>([&] { reopened.login(L"wrong"); });
    EXPECT_EQ(0u, wrong.find("Error while doing login at repository: error:")) << wrong;
    EXPECT_NE(std::string::npos, wrong.find("mac verify failure (PKCS12_parse)")) << wrong;
    EXPECT_EQ(ArchiveState::NotLogged, reopened.state());
    reopened.login(password);
    EXPECT_EQ(ArchiveState::Logged, reopened.state());
    EXPECT_TRUE(reopened.certificate() == mine);
    reopened.login(L"anything");  // logged already: nothing happens
    EXPECT_EQ(ArchiveState::Logged, reopened.state());
    EXPECT_EQ(2u, visitedNames(reopened, AnyCaFilter).size());
    const Bytes data{'d', 'a', 't', 'a'};
    EXPECT_EQ(archive.signWithCertificate(data, mine, "SHA256"), reopened.signWithCertificate(data, mine, "SHA256"));
}

TEST(ArchiveFiles, RealTestArchivesOpenAndSign)
{
    std::istringstream nfe(readFileBytes(icpBrasil("pfx/nfe-teste-associacao-99999090910270.pfx")));
    ArchiveRepository archive(nfe);
    archive.login(L"associacao");
    ASSERT_EQ(ArchiveState::Logged, archive.state());
    const Certificate expected = loadCertificate("end-entity/test-nfe-associacao-99999090910270-2009.pem");
    EXPECT_TRUE(archive.certificate() == expected);
    EXPECT_EQ(3u, archive.buildChain(expected).certificates.size());  // its authorities came with it

    const std::string data = "<infNFe Id=\"NFe1\"/>";
    EXPECT_TRUE(opensslVerifies(expected.toPem(), data,
                                asText(archive.signWithCertificate(Bytes(data.begin(), data.end()), expected, "SHA1")),
                                "sha1"));

    // The other one protects its certificates with RC2, from the legacy set.
    std::istringstream lacuna(readFileBytes(icpBrasil("pfx/lacuna-pierre-de-fermat-2025.pfx")));
    ArchiveRepository legacy(lacuna);
    legacy.login(L"1234");
    EXPECT_EQ("Pierre de Fermat", legacy.certificate().commonName());
    EXPECT_NE(nullptr, legacy.privateKeyOf(legacy.certificate()));

    std::istringstream garbage("this is no archive");
    const std::string failure = failureOf<RepositoryAccessException>([&] { ArchiveRepository broken(garbage); });
    EXPECT_EQ(0u, failure.find("Error while doing login at repository: ")) << failure;
    EXPECT_NE(std::string::npos, failure.find("(d2i_PKCS12_bio)")) << failure;
}

TEST(ArchiveKey, SignsAndDecryptsAsTheOpensslToolExpects)
{
    orvane::test::TempDir dir;
    ArchiveRepository archive{sharedTestKey(), L"k", L""};
    const Certificate mine = endEntity();
    ASSERT_TRUE(archive.addCertificate(mine));
    writeFile(dir.file("pub.pem"), mine.publicKey().toPem());
    const PrivateKeyHandle key = archive.privateKeyOf(mine);

    const std::string data = "documento para assinar";
    const Bytes bytes(data.begin(), data.end());
    for (const char* hash : {"SHA256", "SHA1", "sha384"}) {
        SCOPED_TRACE(hash);
        const Bytes signature = archive.signDigest(hash, digest(bytes, hash), key);
        EXPECT_TRUE(opensslVerifies(mine.toPem(), data, asText(signature), hash));
        EXPECT_EQ(signature, archive.signWithCertificate(bytes, mine, hash));
        EXPECT_EQ(signature, archive.signDigestWithCertificate(digest(bytes, hash), mine, hash));
    }
    // Without a hash name the input is the whole value: here a DigestInfo
    // prepared by the caller, which the tool recovers as it stands.
    const Bytes block{0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14,
                      1,    2,    3,    4,    5,    6,    7,    8,    9,    10,   11,   12,   13,   14,   15,
                      16,   17,   18,   19,   20};
    const Bytes signature = archive.signDigest("", block, key);
    EXPECT_EQ(asText(block), openssl({"pkeyutl", "-verifyrecover", "-pubin", "-inkey", dir.file("pub.pem")},
                                     asText(signature)));
    EXPECT_EQ(signature, archive.signWithCertificate(block, mine, ""));

    EXPECT_EQ("Error at signing: Hash algorithm not found",
              failureOf<SignatureException>([&] { archive.signDigest("NO-SUCH-HASH", Bytes(32), key); }));
    EXPECT_THROW(archive.signDigest("", Bytes(300, 1), key), SignatureException) << "longer than the key";

    const std::string secret = "chave de sess\xc3\xa3o 0123456789";
    const std::string encrypted = openssl({"pkeyutl", "-encrypt", "-pubin", "-inkey", dir.file("pub.pem")}, secret);
    const Bytes sealed(encrypted.begin(), encrypted.end());
    EXPECT_EQ(secret, asText(archive.decrypt(sealed, key)));
    EXPECT_EQ(secret, asText(archive.decryptWithCertificate(sealed, mine)));
    EXPECT_THROW(archive.decrypt(Bytes(256, 7), key), DecryptionException);
    // The key lookup's SignatureException becomes a decryption failure.
    ArchiveRepository keyOnly(sharedTestKey(), L"k", L"");
    EXPECT_EQ("Error at decrypting: Error at signing: Certificate not present",
              failureOf<DecryptionException>([&] { keyOnly.decryptWithCertificate(sealed, mine); }));
}

} // namespace
