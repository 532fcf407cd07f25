// A key generated for a request, its certificate from a test authority, and
// the way back into "MY" with a working link; PKCS#12 imports.
#include "signer/Exceptions.h"
#include "signer/NarrowConverter.h"
#include "signer/SystemRepository.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "tests/mock/TempDir.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/signer/SignerTestSupport.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace valmora::signer;
using orvane::test::readFile;
using orvane::test::TempDir;
using orvane::test::TempKeyStore;
using orvane::test::writeFile;
using orvane::test::signer::openssl;
using orvane::test::signer::opensslStatus;
using orvane::test::signer::asText;

namespace {

class GeneratedKeyTest : public testing::Test {
protected:
    void SetUp() override
    {
        writeFile(files.file("ca.ext"), "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign\n");
        openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", files.file("ca.key"), "-out",
                 files.file("ca.pem"), "-subj", "/CN=Orvane Test Authority", "-days", "30", "-extensions", "v3_ca"});
        writeFile(files.file("leaf.ext"), "basicConstraints=critical,CA:FALSE\nkeyUsage=critical,digitalSignature\n");
    }

    // The test authority's certificate for a PKCS#10 request.
    Certificate issue(const std::string& requestPem)
    {
        writeFile(files.file("request.pem"), requestPem);
        openssl({"x509", "-req", "-in", files.file("request.pem"), "-CA", files.file("ca.pem"), "-CAkey",
                 files.file("ca.key"), "-CAcreateserial", "-days", "30", "-extfile", files.file("leaf.ext"), "-out",
                 files.file("issued.pem")});
        return Certificate::fromText(readFile(files.file("issued.pem")));
    }

    bool verifiesWithCertificate(const Certificate& certificate, const Bytes& data, const Bytes& signature)
    {
        writeFile(files.file("cert.pem"), certificate.toPem());
        writeFile(files.file("pub.pem"), openssl({"x509", "-in", files.file("cert.pem"), "-noout", "-pubkey"}));
        writeFile(files.file("data"), asText(data));
        writeFile(files.file("sig"), asText(signature));
        std::string out;
        return opensslStatus({"dgst", "-sha256", "-verify", files.file("pub.pem"), "-signature", files.file("sig"),
                              files.file("data")},
                             &out)
                   == 0
               && out.find("Verified OK") != std::string::npos;
    }

    TempKeyStore token;
    TempDir files;
    std::shared_ptr<DirectoryCertificateStore> folders =
        std::make_shared<DirectoryCertificateStore>(token.certificateStoreFolder());
};

} // namespace

TEST_F(GeneratedKeyTest, RequestCertificateAdditionAndSignatureThroughTheLinkedKey)
{
    const std::wstring keyName = TempKeyStore::newKeyName();
    const std::string requestPem = [&] {
        SystemRepository repository(token.keyStore(), folders);
        const std::string pem = repository.createDefaultRequest(keyName, 4096).toPem();
        writeFile(files.file("request.pem"), pem);
        const std::string text = openssl({"req", "-in", files.file("request.pem"), "-noout", "-verify", "-text"});
        EXPECT_NE(std::string::npos, text.find("Public-Key: (2048 bit)")) << "4096 asked, 2048 made";

        // Until its certificate comes the key waits; then it lands in "MY".
        const Certificate issued = issue(pem);
        EXPECT_TRUE(issued.isEndEntity());
        EXPECT_TRUE(repository.addCertificate(issued));

        const std::optional<StoreEntry> entry = folders->find("MY", issued.fingerprint());
        const KeyProviderInfo link = entry ? entry->provider.value_or(KeyProviderInfo{}) : KeyProviderInfo{};
        EXPECT_EQ(localKeyProviderName, link.providerName);
        EXPECT_EQ(keyName, link.containerName) << "linked to the key generated for the request, not to a copy";
        EXPECT_EQ(L"Valmora Certificadora Digital SA", entry ? entry->friendlyName.value_or(L"") : L"");
        EXPECT_FALSE(folders->find("AddressBook", issued.fingerprint()));
        return pem;
    }();

    // Another object, as a later run would make, signs through the link.
    SystemRepository later(token.keyStore(), folders);
    const Certificate issued = Certificate::fromText(readFile(files.file("issued.pem")));
    const Bytes data = {'d', 'o', 'c', 'u', 'm', 'e', 'n', 't'};
    const Bytes signature = later.signWithCertificate(data, issued, "SHA256");
    EXPECT_TRUE(verifiesWithCertificate(issued, data, signature));
    // Keys reached through a certificate know the hash names in capitals.
    EXPECT_THROW(later.signWithCertificate(data, issued, "sha256"), SignatureException);
    EXPECT_TRUE(token.keyStore()->hasKey(narrowConverter.to_bytes(keyName)));
}

TEST_F(GeneratedKeyTest, AnEndEntityForAnotherKeyIsNoMatchForThePendingKey)
{
    SystemRepository repository(token.keyStore(), folders);
    repository.generateKeyPair(TempKeyStore::newKeyName(), 2048);
    const Certificate stranger = orvane::test::store::makeEndEntity("Stranger");
    EXPECT_TRUE(repository.addCertificate(stranger));
    EXPECT_TRUE(folders->find("AddressBook", stranger.fingerprint()));
    EXPECT_FALSE(folders->find("MY", stranger.fingerprint()));
}

// Only a failure of the store becomes an addition failure: here the import
// cannot find again what it wrote, and that failure comes out as it is.
TEST_F(GeneratedKeyTest, OtherFailuresOfTheFamilyPassAdditionUnwrapped)
{
    auto blind = std::make_shared<orvane::test::store::CountingStore>(folders);
    SystemRepository repository(token.keyStore(), blind);
    const std::string pem = repository.createDefaultRequest(TempKeyStore::newKeyName(), 2048).toPem();
    const Certificate issued = issue(pem);
    blind->blind = true;
    EXPECT_EQ("Certificate not found: Fingerprint: " + issued.fingerprint(),
              orvane::test::signer::failureOf<CertificateNotFoundException>([&] { repository.addCertificate(issued); }));
}

TEST_F(GeneratedKeyTest, ImportOfPkcs12WithALinkPutsTheKeyUnderThatNameAndNamesTheEntry)
{
    openssl({"req", "-newkey", "rsa:2048", "-nodes", "-keyout", files.file("own.key"), "-out", files.file("own.csr"),
             "-subj", "/O=Orvane Tests/CN=Importada"});
    const Certificate issued = issue(readFile(files.file("own.csr")));
    openssl({"pkcs12", "-export", "-inkey", files.file("own.key"), "-in", files.file("issued.pem"), "-certfile",
             files.file("ca.pem"), "-passout", "pass:segredo", "-out", files.file("own.p12")});

    SystemRepository repository(token.keyStore(), folders);
    std::stringstream archive(std::string(readFile(files.file("own.p12"))));
    repository.importPfx(archive, L"segredo", ProviderLink{localKeyProviderName, L"Orvane.imported"}, true);

    const std::optional<StoreEntry> entry = folders->find("MY", issued.fingerprint());
    ASSERT_TRUE(entry);
    ASSERT_TRUE(entry->provider);
    EXPECT_EQ(L"Orvane.imported", entry->provider->containerName);
    EXPECT_EQ(L"Importada", entry->friendlyName.value_or(L"")) << "the last certificate gets the name";
    const Certificate authority = Certificate::fromText(readFile(files.file("ca.pem")));
    const std::optional<StoreEntry> authorityEntry = folders->find("MY", authority.fingerprint());
    ASSERT_TRUE(authorityEntry) << "every certificate of the archive goes to MY";
    ASSERT_TRUE(authorityEntry->provider) << "and each is linked";
    EXPECT_EQ(L"Orvane.imported", authorityEntry->provider->containerName);

    const Bytes data = {1, 2, 3};
    EXPECT_TRUE(verifiesWithCertificate(issued, data, repository.signWithCertificate(data, issued, "SHA256")));

    std::stringstream wrong(std::string(readFile(files.file("own.p12"))));
    EXPECT_NE(std::string::npos, orvane::test::signer::failureOf<CapiException>([&] {
                                     repository.importPfx(wrong, L"errada", ProviderLink{}, false);
                                 }).find("(PFXImportCertStore)"));
}

TEST_F(GeneratedKeyTest, GenerationReplacesAWaitingKeyOfTheSameNameButNeverANamedKey)
{
    SystemRepository repository(token.keyStore(), folders);
    const std::wstring name = TempKeyStore::newKeyName();
    const KeyPair first = repository.generateKeyPair(name, 2048);
    const KeyPair second = repository.generateKeyPair(name, 2048);
    EXPECT_NE(first.modulus, second.modulus);
    EXPECT_EQ(static_cast<const PublicKey&>(second), repository.publicKeyOfNamedKey(name));

    const std::wstring agentKey = token.createNamedKey();
    const PublicKey kept = repository.publicKeyOfNamedKey(agentKey);
    EXPECT_THROW(repository.generateKeyPair(agentKey, 2048), KeyPairGenerationException);
    EXPECT_EQ(kept, repository.publicKeyOfNamedKey(agentKey));
}
