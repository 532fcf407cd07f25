// The PKCS#12 repository: its states, and everything it writes or signs
// checked by the openssl tool; the real test archives opened by it.

#include "signer/ArchiveRepository.h"
#include "signer/Exceptions.h"
#include "signer/OpenSslPrivateKey.h"
#include "signer/OpenSslPtr.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

std::shared_ptr<EVP_PKEY> sharedTestKey()
{
    EVP_PKEY_up_ref(testKey());
    return shareKey(testKey());
}

// A certificate for `key`, issued by a test authority.
Certificate certificateFor(const PublicKey& key, const std::string& commonName = "Dona Ana")
{
    const EvpPkeyPtr evp = key.toEvp();
    return CertificateBuilder()
        .subject({{"C", "BR"}, {"CN", commonName}})
        .issuer({{"C", "BR"}, {"CN", "Test Authority"}})
        .publicKey(evp.get())
        .signWith(otherTestKey())
        .build();
}

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

Certificate endEntityOfTestKey(long serial = 1)
{
    return CertificateBuilder()
        .subject({{"CN", "Holder"}})
        .issuer({{"C", "BR"}, {"CN", "Test Authority"}})
        .serial(serial)
        .signWith(otherTestKey())
        .build();
}

void writeBytes(const std::string& path, const Bytes& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void writeText(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

template <class E, class F>
std::string failureOf(F&& action)
{
    try {
        action();
    } catch (const E& error) {
        return error.what();
    }
    return "<no exception>";
}

TEST(ArchiveStates, EmptyAndKeyOnlyRefuseWhatTheyCannotDo)
{
    ArchiveRepository empty;
    EXPECT_EQ(ArchiveState::Empty, empty.state());
    const Certificate authority = testAuthority();
    EXPECT_EQ("Error at signing: There isn't any private key",
              failureOf<SignatureException>([&] { empty.privateKeyOf(authority); }));
    EXPECT_EQ("Error at adding certificate: Cannot extract public key. It lacks a public key.",
              failureOf<CertificateAdditionException>([&] { empty.addCertificate(authority); }));
    EXPECT_EQ("Error while searching certificates at repository: PKCS#12's Content is empty or user was not logged in",
              failureOf<CertificateSearchingException>(
                  [&] { empty.visitCertificates(AllFilter, [](const Certificate&) { return Then::Continue; }); }));
    std::ostringstream sink;
    EXPECT_EQ("Error while serializing: Cannot save. It lacks either certificate, private key or CA.",
              failureOf<SerializationException>([&] { empty.saveArchive(L"x", sink); }));

    ArchiveRepository keyOnly(sharedTestKey(), L"Orvane.key", L"");
    EXPECT_EQ(ArchiveState::KeyOnly, keyOnly.state());
    EXPECT_EQ(L"Orvane.key", keyOnly.keyName());
    EXPECT_EQ("Error at signing: Certificate not present",
              failureOf<SignatureException>([&] { keyOnly.privateKeyOf(authority); }));
    EXPECT_EQ("Error while serializing: Cannot save. It lacks either certificate, private key or CA.",
              failureOf<SerializationException>([&] { keyOnly.saveArchive(L"x", sink); }));
    EXPECT_TRUE(sink.str().empty());

    // A CA goes to the list and the state stays; a visit of everything walks
    // only that list.
    EXPECT_TRUE(keyOnly.addCertificate(authority));
    EXPECT_EQ(ArchiveState::KeyOnly, keyOnly.state());
    std::vector<Certificate> visited;
    keyOnly.visitCertificates(AllFilter, [&](const Certificate& c) {
        visited.push_back(c);
        return Then::Continue;
    });
    ASSERT_EQ(1u, visited.size());
    EXPECT_TRUE(visited[0] == authority);

    // An end entity for another key is refused without a word.
    const EvpPkeyPtr strangerKey(EVP_RSA_gen(1024));
    const Certificate stranger = CertificateBuilder()
                                     .subject({{"CN", "Stranger"}})
                                     .issuer({{"C", "BR"}, {"CN", "Test Authority"}})
                                     .publicKey(strangerKey.get())
                                     .signWith(otherTestKey())
                                     .build();
    EXPECT_FALSE(keyOnly.addCertificate(stranger));
    // A root whose key is not RSA is still welcome as an authority.
    EXPECT_TRUE(keyOnly.addCertificate(loadCertificate("ca/roots/icp-brasil-raiz-v4.pem")));
}

TEST(ArchiveStates, KeyAndCertificateLifecycle)
{
    ArchiveRepository archive(sharedTestKey(), L"k", L"second");
    EXPECT_EQ(L"second", archive.secondName());
    const Certificate mine = endEntityOfTestKey();
    EXPECT_TRUE(archive.addCertificate(mine));
    EXPECT_EQ(ArchiveState::KeyAndCertificate, archive.state());
    // Twice: replaced, still true.
    const Certificate renewed = endEntityOfTestKey(9);
    EXPECT_TRUE(archive.addCertificate(renewed));
    EXPECT_TRUE(archive.certificate() == renewed);
    EXPECT_TRUE(archive.addCertificate(testAuthority()));

    EXPECT_NE(nullptr, archive.privateKeyOf(renewed));
    EXPECT_EQ("Error at signing: Certificate not match in this archive",
              failureOf<SignatureException>([&] { archive.privateKeyOf(mine); }));

    // The held certificate comes first when end entities are asked for; the
    // authority only when its category is.
    std::vector<std::string> names;
    auto collect = [&](const Certificate& c) {
        names.push_back(c.detail().subjectDisplayName);
        return Then::Continue;
    };
    archive.visitCertificates(PersonalFilter, collect);
    EXPECT_EQ((std::vector<std::string>{"Holder"}), names);
    names.clear();
    archive.visitCertificates(AnyCaFilter, collect);
    EXPECT_EQ((std::vector<std::string>{"Test Authority"}), names);
    names.clear();
    archive.visitCertificates(AllFilter, [&](const Certificate& c) {
        names.push_back(c.detail().subjectDisplayName);
        return Then::Stop;  // the held certificate's answer is not looked at
    });
    EXPECT_EQ((std::vector<std::string>{"Holder", "Test Authority"}), names);

    // Clones share the content.
    const std::unique_ptr<Repository> clone = archive.clone();
    const KeyPair pair = clone->generateKeyPair(L"fresh", 1024);
    EXPECT_EQ(ArchiveState::KeyOnly, archive.state());
    EXPECT_EQ(L"fresh", archive.keyName());
    EXPECT_TRUE(archive.certificate().isNull());
    EXPECT_EQ(128u, pair.modulus.size());
    EXPECT_EQ((Bytes{1, 0, 1}), pair.exponent);
    names.clear();
    archive.visitCertificates(AllFilter, collect);
    EXPECT_TRUE(names.empty());  // the authorities went with the old key

    EXPECT_THROW(archive.generateKeyPair(L"tiny", 16), KeyPairGenerationException);
}

TEST(ArchiveFiles, SavedArchiveOpensWithTheOpensslToolAndAgainHere)
{
    orvane::test::TempDir dir;
    ArchiveRepository archive;
    const KeyPair pair = archive.generateKeyPair(L"Orvane.request", 2048);
    const Certificate mine = certificateFor(pair, "Jo\xc3\xa3o da Silva");
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
    writeText(file, stream.str());

    const std::string pass = "pass:tidewave-\xc3\xa7\xc3\xa3";
    const std::string everything = openssl({"pkcs12", "-in", file, "-passin", pass, "-nodes"});
    std::size_t certificates = 0;
    for (auto at = everything.find("BEGIN CERTIFICATE"); at != std::string::npos;
         at = everything.find("BEGIN CERTIFICATE", at + 1))
        ++certificates;
    EXPECT_EQ(3u, certificates);
    EXPECT_NE(std::string::npos, everything.find("BEGIN PRIVATE KEY"));
    // The tool prints the friendly name's BMP characters as single bytes:
    // "\xe3" is the "\u00e3" that the UTF-8 common name carried.
    EXPECT_NE(std::string::npos, everything.find("friendlyName: Jo\xe3o da Silva"));

    // The key in it is the one whose public half the request would carry.
    const std::string keyOnly = openssl({"pkcs12", "-in", file, "-passin", pass, "-nocerts", "-nodes"});
    EXPECT_EQ(mine.publicKey().toPem(), openssl({"pkey", "-pubout"}, keyOnly));
    const std::string clientCert = openssl({"pkcs12", "-in", file, "-passin", pass, "-clcerts", "-nokeys"});
    EXPECT_TRUE(Certificate::fromText(clientCert) == mine);
    const std::string caCerts = openssl({"pkcs12", "-in", file, "-passin", pass, "-cacerts", "-nokeys"});
    EXPECT_NE(std::string::npos, caCerts.find(root.toPem()));
    EXPECT_NE(std::string::npos, caCerts.find(authority.toPem()));

    EXPECT_NE(0, opensslStatus({"pkcs12", "-in", file, "-passin", "pass:wrong", "-nodes"}));

    // Read back through the stream adapter.
    std::istringstream input(stream.str());
    ArchiveRepository reopened(input);
    EXPECT_EQ(ArchiveState::NotLogged, reopened.state());
    EXPECT_EQ("Error at signing: Not logged",
              failureOf<SignatureException>([&] { reopened.privateKeyOf(mine); }));
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

    int authorities = 0;
    reopened.visitCertificates(AnyCaFilter, [&](const Certificate&) {
        ++authorities;
        return Then::Continue;
    });
    EXPECT_EQ(2, authorities);
    // And signs with the key it read.
    const Bytes data{'d', 'a', 't', 'a'};
    EXPECT_EQ(archive.signWithCertificate(data, mine, "SHA256"), reopened.signWithCertificate(data, mine, "SHA256"));
}

TEST(ArchiveFiles, RealTestArchivesOpenSignAndBuildTheirChain)
{
    std::istringstream nfe(readFileBytes(icpBrasil("pfx/nfe-teste-associacao-99999090910270.pfx")));
    ArchiveRepository archive(nfe);
    archive.login(L"associacao");
    ASSERT_EQ(ArchiveState::Logged, archive.state());
    const Certificate expected = loadCertificate("end-entity/test-nfe-associacao-99999090910270-2009.pem");
    EXPECT_TRUE(archive.certificate() == expected);

    const CertificateChain chain = archive.buildChain(expected);
    EXPECT_EQ(ChainComplete, chain.status);
    ASSERT_EQ(3u, chain.certificates.size());
    EXPECT_TRUE(chain.certificates[1] == loadCertificate("ca/test-pki/nfe-teste-ac-intermediaria-1.pem"));
    EXPECT_TRUE(chain.certificates[2] == loadCertificate("ca/test-pki/nfe-teste-ac-raiz.pem"));
    EXPECT_TRUE(archive.findByFingerprint(expected.fingerprint()) == expected);

    // A signature with its key checks out against the certificate's key.
    orvane::test::TempDir dir;
    const std::string data = "<infNFe Id=\"NFe1\"/>";
    const Bytes signature = archive.signWithCertificate(Bytes(data.begin(), data.end()), expected, "SHA1");
    writeBytes(dir.file("sig"), signature);
    writeText(dir.file("data"), data);
    writeText(dir.file("pub.pem"), expected.publicKey().toPem());
    EXPECT_NE(std::string::npos, openssl({"dgst", "-sha1", "-verify", dir.file("pub.pem"), "-signature",
                                          dir.file("sig"), dir.file("data")})
                                     .find("Verified OK"));

    // The other one protects its certificates with RC2, from the legacy set.
    std::istringstream lacuna(readFileBytes(icpBrasil("pfx/lacuna-pierre-de-fermat-2025.pfx")));
    ArchiveRepository legacy(lacuna);
    legacy.login(L"1234");
    EXPECT_EQ(ArchiveState::Logged, legacy.state());
    EXPECT_EQ("Pierre de Fermat", legacy.certificate().commonName());
    EXPECT_NE(nullptr, legacy.privateKeyOf(legacy.certificate()));

    std::istringstream garbage("this is no archive");
    const std::string failure = failureOf<RepositoryAccessException>([&] { ArchiveRepository broken(garbage); });
    EXPECT_EQ(0u, failure.find("Error while doing login at repository: ")) << failure;
    EXPECT_NE(std::string::npos, failure.find("(d2i_PKCS12_bio)")) << failure;
    std::istringstream nothing("");
    EXPECT_THROW(ArchiveRepository broken(nothing), RepositoryAccessException);
}

class ArchiveKeyTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(archive.addCertificate(mine));
        writeText(dir.file("pub.pem"), mine.publicKey().toPem());
        std::ostringstream stream;
        archive.saveArchive(L"k", stream);
        writeText(dir.file("a.pfx"), stream.str());
        writeText(dir.file("key.pem"),
                  openssl({"pkcs12", "-in", dir.file("a.pfx"), "-passin", "pass:k", "-nocerts", "-nodes"}));
    }

    orvane::test::TempDir dir;
    ArchiveRepository archive{sharedTestKey(), L"k", L""};
    Certificate mine = endEntityOfTestKey();
};

TEST_F(ArchiveKeyTest, SignaturesWithAHashNameVerifyAndMatchOpenssl)
{
    const std::string data = "documento para assinar";
    const Bytes bytes(data.begin(), data.end());
    writeText(dir.file("data"), data);
    for (const char* hash : {"SHA256", "SHA1", "SHA512", "sha384"}) {
        SCOPED_TRACE(hash);
        const PrivateKeyHandle key = archive.privateKeyOf(mine);
        const Bytes signature = archive.signDigest(hash, digest(bytes, hash), key);
        writeBytes(dir.file("sig"), signature);
        const std::string flag = std::string("-") + hash;
        EXPECT_NE(std::string::npos,
                  openssl({"dgst", flag, "-verify", dir.file("pub.pem"), "-signature", dir.file("sig"), dir.file("data")})
                      .find("Verified OK"));
        // PKCS#1 v1.5 is deterministic: the tool's own signature is the same.
        openssl({"dgst", flag, "-sign", dir.file("key.pem"), "-out", dir.file("theirs"), dir.file("data")});
        EXPECT_EQ(readFileBytes(dir.file("theirs")), std::string(signature.begin(), signature.end()));
        // Through the certificate and the digesting sign, the same bytes.
        EXPECT_EQ(signature, archive.signWithCertificate(bytes, mine, hash));
        EXPECT_EQ(signature, archive.signDigestWithCertificate(digest(bytes, hash), mine, hash));
    }
}

TEST_F(ArchiveKeyTest, RawSignaturesAreThePkcs1BlockOfTheInput)
{
    // Without a hash name the input is the whole value: here a DigestInfo
    // prepared by the caller.
    const Bytes block{0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14,
                      1,    2,    3,    4,    5,    6,    7,    8,    9,    10,   11,   12,   13,   14,   15,
                      16,   17,   18,   19,   20};
    const Bytes signature = archive.signDigest("", block, archive.privateKeyOf(mine));
    EXPECT_EQ(256u, signature.size());
    writeBytes(dir.file("block"), block);
    writeBytes(dir.file("sig"), signature);
    const std::string verified = openssl({"pkeyutl", "-verify", "-pubin", "-inkey", dir.file("pub.pem"), "-in",
                                          dir.file("block"), "-sigfile", dir.file("sig")});
    EXPECT_NE(std::string::npos, verified.find("Signature Verified Successfully"));
    const std::string recovered =
        openssl({"pkeyutl", "-verifyrecover", "-pubin", "-inkey", dir.file("pub.pem"), "-in", dir.file("sig")});
    EXPECT_EQ(std::string(block.begin(), block.end()), recovered);
    // sign() with no hash name passes the input through unchanged.
    EXPECT_EQ(signature, archive.signWithCertificate(block, mine, ""));
}

TEST_F(ArchiveKeyTest, SigningFailuresCarryTheirLabels)
{
    const PrivateKeyHandle key = archive.privateKeyOf(mine);
    EXPECT_EQ("Error at signing: Hash algorithm not found",
              failureOf<SignatureException>([&] { archive.signDigest("NO-SUCH-HASH", Bytes(32), key); }));
    const std::string wrongLength = failureOf<SignatureException>([&] { archive.signDigest("SHA256", Bytes(5), key); });
    EXPECT_NE(std::string::npos, wrongLength.find("(RSA_sign)")) << wrongLength;
    const std::string tooLong = failureOf<SignatureException>([&] { archive.signDigest("", Bytes(300, 1), key); });
    EXPECT_NE(std::string::npos, tooLong.find("(RSA_private_encrypt)")) << tooLong;
    EXPECT_EQ("Error at signing: Cannot get RSA key from private key (EVP_PKEY_get1_RSA)",
              failureOf<SignatureException>([&] { archive.signDigest("SHA256", Bytes(32), nullptr); }));
    EXPECT_EQ("Error at signing: Certificate not match in this archive",
              failureOf<SignatureException>([&] { archive.signWithCertificate(Bytes{1}, testAuthority(), "SHA256"); }));
}

TEST_F(ArchiveKeyTest, DecryptsWhatOpensslEncryptedForIt)
{
    const std::string secret = "chave de sess\xc3\xa3o 0123456789";
    writeText(dir.file("plain"), secret);
    openssl({"pkeyutl", "-encrypt", "-pubin", "-inkey", dir.file("pub.pem"), "-in", dir.file("plain"), "-out",
             dir.file("enc")});
    const std::string encrypted = readFileBytes(dir.file("enc"));
    const Bytes bytes(encrypted.begin(), encrypted.end());
    const Bytes plain = archive.decrypt(bytes, archive.privateKeyOf(mine));
    EXPECT_EQ(secret, std::string(plain.begin(), plain.end()));
    EXPECT_EQ(plain, archive.decryptWithCertificate(bytes, mine));

    const std::string bad = failureOf<DecryptionException>([&] { archive.decrypt(Bytes(256, 7), archive.privateKeyOf(mine)); });
    EXPECT_NE(std::string::npos, bad.find("(EVP_PKEY_decrypt)")) << bad;
    EXPECT_EQ("Error at decrypting: EVP_PKEY_CTX_new (EVP_PKEY_CTX_new)",
              failureOf<DecryptionException>([&] { archive.decrypt(bytes, nullptr); }));
    // The key lookup's SignatureException becomes a decryption failure.
    EXPECT_EQ("Error at decrypting: Error at signing: Certificate not present",
              failureOf<DecryptionException>([&] {
                  ArchiveRepository keyOnly(sharedTestKey(), L"k", L"");
                  keyOnly.decryptWithCertificate(bytes, mine);
              }));
}

} // namespace
