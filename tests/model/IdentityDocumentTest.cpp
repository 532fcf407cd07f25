#include "model/identity/ActiveInstallationNotFound.h"
#include "model/identity/IdentityDocument.h"
#include "model/identity/Orvane.h"
#include "tests/mock/TempDir.h"
#include "tests/model/IdentityFixtures.h"

#include <gtest/gtest.h>

#include <regex>
#include <sys/stat.h>

using namespace orvane::model;
using orvane::test::identityFile;
using orvane::test::readFile;
using orvane::test::sampleIdentity;
using orvane::test::writeFile;

namespace {

class IdentityDocument : public testing::Test {
protected:
    void SetUp() override { orvane::test::removeIdentityFile(); }
    void TearDown() override { orvane::test::removeIdentityFile(); }
};

std::string certificateBase64(std::size_t index)
{
    return orvane::test::testCertificateBase64(orvane::test::testCertificateNames().at(index));
}

// A document as an older version or a hand edit may leave it: no Expires,
// no FutureVersion, elements in another order, a device key without KeyID,
// a name of blanks, Windows line ends.
std::string handWritten(const std::string& deviceKeyId, const std::string& walletKeyId)
{
    return "<?xml version=\"1.0\"?>\r\n<Orvane>\n"
           "<DesktopInfo><UserName>ana\r\nlima\rx</UserName></DesktopInfo>\n"
           "<PrivateKeyReference>Orvane.k</PrivateKeyReference>\n"
           "<KestrelInstallations><KestrelInstallation TargetUrl=\"https://kestrel.test/TolvaneServices/desktop\">"
           "<Devices LastModified=\"m1\"><Device><Hash>ABCDEFGHIJ</Hash><LocalName> \t </LocalName>"
           "<KeyReferences><KeyReference><Certificate>" + certificateBase64(0) + "</Certificate>"
           "<KeyName>k1</KeyName>" + deviceKeyId + "</KeyReference></KeyReferences></Device></Devices>"
           "<InstallationCode>IC</InstallationCode><Hierarchies LastModified=\"h1\"/>"
           "</KestrelInstallation></KestrelInstallations>\n"
           "<HarrierInstallations><HarrierInstallation TargetUrl=\"harrier.test\"><UserName>Ana</UserName>"
           "<Wallet LastModified=\"w1\"><KeyReferences><KeyReference><KeyName>w</KeyName><Certificate>"
           + certificateBase64(1) + "</Certificate>" + walletKeyId
           + "</KeyReference></KeyReferences></Wallet></HarrierInstallation></HarrierInstallations>\n"
             "</Orvane>\n";
}

} // namespace

TEST_F(IdentityDocument, SaveLoadSaveGivesTheSameBytesAndValues)
{
    const auto original = sampleIdentity();
    original->save();
    const std::string first = readFile(identityFile());

    // Whatever was written comes back: the loaded aggregate writes the same
    // bytes, and a clean load does not rewrite the file.
    const auto loaded = Orvane::load();
    EXPECT_EQ(readFile(identityFile()), first);
    loaded->save();
    EXPECT_EQ(readFile(identityFile()), first);

    const auto again = Orvane::load();
    EXPECT_EQ(again->certificates().size(), original->certificates().size());
    // Names made only of blanks, and XML-special characters, come back as
    // they were.
    EXPECT_EQ(again->kestrelInstallations[1].devices.devices[2]->localName, L"  ");
    EXPECT_EQ(again->kestrelInstallations[1].devices.devices[0]->localName, L"Celular \"da\" Ana <&> ' \u00e7\u00e3o");
    EXPECT_EQ(again->allHarrierInstallations[0]->organizationName, L"Org & Filhos <Ltda>");
}

TEST_F(IdentityDocument, FileFormatIsUtf8TabIndentedInTheWritersOrder)
{
    sampleIdentity()->save();
    const std::string text = readFile(identityFile());
    ASSERT_GT(text.size(), 100u);
    EXPECT_EQ(text.rfind("<?xml version=\"1.0\"?>\n<Orvane>\n\t<PrivateKeyReference>Orvane.", 0), 0u);
    EXPECT_NE(text.find("\t<DesktopInfo>\n\t\t<InstallationName>ESTACAO-07</InstallationName>\n"
                        "\t\t<OperatingSystem>"),
              std::string::npos);
    EXPECT_NE(text.find("<UserName>jo\xc3\xa3o</UserName>"), std::string::npos);  // UTF-8, no BOM
    EXPECT_NE(text.find("<Hierarchies LastModified=\"Tue, 02 Jan 2024 10:00:00 GMT\" Expires=\"-5\">"),
              std::string::npos);
    EXPECT_NE(text.find("\t\t\t\t<FutureVersion>\n\t\t\t\t\t<AvailableSince></AvailableSince>"), std::string::npos)
        << "the inactive installation still writes an empty FutureVersion";
    EXPECT_NE(text.find("<LocalName>Celular \"da\" Ana &lt;&amp;&gt; ' \xc3\xa7\xc3\xa3o</LocalName>"),
              std::string::npos);

    // Element order of the writer, checked on the names in sequence.
    std::vector<std::string> order;
    const std::regex tag("<([A-Za-z]+)[ >/]");
    for (std::sregex_iterator it(text.begin(), text.end(), tag), end; it != end; ++it)
        order.push_back((*it)[1]);
    const std::vector<std::string> head = {"Orvane", "PrivateKeyReference", "DesktopInfo", "InstallationName",
                                           "OperatingSystem", "UserName", "DomainName", "KestrelInstallations",
                                           "KestrelInstallation", "InstallationCode", "Hierarchies",
                                           "FutureVersion", "AvailableSince", "VersionString", "Devices", "Device",
                                           "Hash", "FantasyName", "LocalName", "KeyReferences", "KeyReference",
                                           "KeyName", "FriendlyName", "Certificate", "KeyID"};
    ASSERT_GE(order.size(), head.size());
    EXPECT_EQ(std::vector<std::string>(order.begin(), order.begin() + static_cast<long>(head.size())), head);
    const std::string harrierPart = text.substr(text.find("<HarrierInstallation "));
    EXPECT_LT(harrierPart.find("<UserID>"), harrierPart.find("<UserName>"));
    EXPECT_LT(harrierPart.find("<OrganizationName>"), harrierPart.find("<DesktopCode>"));
    EXPECT_LT(harrierPart.find("<AuthorizationMode>"), harrierPart.find("<Wallet LastModified="));

    // Every key identifier is 40 lower-case hexadecimal digits.
    const std::regex keyId("<KeyID>([^<]*)</KeyID>");
    int count = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), keyId), end; it != end; ++it, ++count)
        EXPECT_TRUE(std::regex_match((*it)[1].str(), std::regex("[0-9a-f]{40}"))) << (*it)[1];
    EXPECT_EQ(count, 7);

    struct stat info {};
    ASSERT_EQ(stat(identityFile().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(IdentityDocument, HandWrittenDocumentReadsWithDefaultsAndGainsItsMissingParts)
{
    writeFile(identityFile(), handWritten("", "<KeyID>" + std::string(40, 'a') + "</KeyID>"));
    bool dirty = false;
    const auto read = Orvane::read(dirty);
    EXPECT_TRUE(dirty);   // the device key had no KeyID
    const KestrelInstallation& kestrel = read->kestrelInstallations.at(0);
    EXPECT_EQ(kestrel.hierarchies.expires, 0);   // absent: refreshed at the next load
    EXPECT_EQ(kestrel.hierarchies.lastModified, L"h1");
    EXPECT_EQ(kestrel.hierarchies.futureVersion, FutureVersion{});
    EXPECT_EQ(kestrel.devices.devices.at(0)->fantasyName, L"ABCDEFGH");
    EXPECT_EQ(kestrel.devices.devices.at(0)->localName, L"kestrel no ABCDEFGH");
    EXPECT_TRUE(read->desktopInfo.installationName.empty());
    EXPECT_EQ(read->desktopInfo.userName, L"ana\nlima\nx");

    read->save();
    const std::string text = readFile(identityFile());
    EXPECT_NE(text.find("<Hierarchies LastModified=\"h1\" Expires=\"0\">"), std::string::npos);
    EXPECT_NE(text.find("<FutureVersion>"), std::string::npos);
    EXPECT_NE(text.find("<LocalName>kestrel no ABCDEFGH</LocalName>"), std::string::npos);
    EXPECT_NE(text.find("<OrganizationID></OrganizationID>"), std::string::npos);  // empty values are elements too
}

TEST_F(IdentityDocument, DeviceKeyWithoutKeyIdIsRepairedOnceAndForAll)
{
    writeFile(identityFile(), handWritten("", "<KeyID>" + std::string(40, 'a') + "</KeyID>"));
    const auto first = Orvane::load();
    const std::string written = readFile(identityFile());
    const std::smatch match = [&] {
        std::smatch m;
        std::regex_search(written, m, std::regex("<KeyName>k1</KeyName>\\s*<FriendlyName></FriendlyName>\\s*<Certificate>[^<]+"
                                                 "</Certificate>\\s*<KeyID>([0-9a-f]{40})</KeyID>"));
        return m;
    }();
    ASSERT_FALSE(match.empty()) << written;
    const std::string generated = match[1];
    EXPECT_NE(generated, std::string(40, '0'));
    EXPECT_EQ(KeyReference::keyIdText(first->kestrelInstallations[0].devices.devices[0]->keyReferences[0].keyId),
              generated);

    const auto second = Orvane::load();
    EXPECT_EQ(KeyReference::keyIdText(second->kestrelInstallations[0].devices.devices[0]->keyReferences[0].keyId),
              generated);
    EXPECT_EQ(readFile(identityFile()), written);
}

TEST_F(IdentityDocument, WalletKeyWithoutKeyIdIsFatalAndTheFileStaysAsItWas)
{
    const std::string text = handWritten("<KeyID>" + std::string(40, '1') + "</KeyID>", "");
    writeFile(identityFile(), text);
    try {
        Orvane::load();
        FAIL() << "expected the wallet to be refused";
    } catch (const BaseException& e) {
        EXPECT_STREQ(e.what(), "Key Reference node está com dados incompletos");
    }
    EXPECT_EQ(readFile(identityFile()), text);
    EXPECT_THROW(Orvane::hasInstallation(), BaseException);
}

TEST_F(IdentityDocument, DamagedOrMissingFilesGiveTheLoadErrorAndAreNeverOverwritten)
{
    try {
        Orvane::load();
        FAIL();
    } catch (const BaseException& e) {
        EXPECT_EQ(std::string(e.what()), "Erro ao carregar arquivo de configuração: File was not found");
    }

    sampleIdentity()->save();
    const std::string whole = readFile(identityFile());
    for (const std::string& damaged : {whole.substr(0, whole.size() / 2), std::string("\xef\xbb\xbf<Orvane>"),
                                       std::string("<Orvane><Open></Orvane>")}) {
        writeFile(identityFile(), damaged);
        try {
            Orvane::load();
            ADD_FAILURE() << "damaged file accepted";
        } catch (const BaseException& e) {
            EXPECT_EQ(std::string(e.what()).rfind("Erro ao carregar arquivo de configuração: ", 0), 0u) << e.what();
        }
        EXPECT_EQ(readFile(identityFile()), damaged);
    }

    // A certificate that is no certificate: its own error, file untouched.
    std::string badCertificate = whole;
    const auto at = badCertificate.find("<Certificate>") + 13;
    badCertificate.replace(at, 8, "!!!!!!!!");
    writeFile(identityFile(), badCertificate);
    EXPECT_THROW(Orvane::load(), std::invalid_argument);
    EXPECT_EQ(readFile(identityFile()), badCertificate);

    // Another root element reads as an empty identity.
    writeFile(identityFile(), "<?xml version=\"1.0\"?>\n<Something/>\n");
    bool dirty = false;
    const auto read = Orvane::read(dirty);
    EXPECT_FALSE(dirty);
    EXPECT_TRUE(read->privateKeyReference.empty() && read->kestrelInstallations.empty());
    EXPECT_FALSE(Orvane::hasInstallation());
}

TEST_F(IdentityDocument, OnlyTheActiveInstallationsCatalogueIsRefreshedWhileReading)
{
    sampleIdentity()->save();
    const std::string before = readFile(identityFile());
    std::vector<std::wstring> refreshed;
    auto refresh = [&](KestrelInstallation& installation, bool& dirty) {
        refreshed.push_back(installation.installationCode);
        // The catalogue is there already, the devices not yet.
        EXPECT_EQ(installation.hierarchies.hierarchies.size(), 2u);
        EXPECT_TRUE(installation.devices.devices.empty());
        installation.hierarchies.futureVersion.versionString = L"9.9";
        dirty = true;
    };
    const auto loaded = Orvane::load(refresh);
    EXPECT_EQ(refreshed, std::vector<std::wstring>{L"INST-ACTIVE"});
    EXPECT_EQ(loaded->availableVersion().versionString, L"9.9");
    // The refresh asked for a write-back: the file now holds the new record,
    // and both installations in their order.
    const std::string after = readFile(identityFile());
    EXPECT_NE(after, before);
    EXPECT_NE(after.find("<VersionString>9.9</VersionString>"), std::string::npos);
    EXPECT_LT(after.find("INST-OLD"), after.find("INST-ACTIVE"));
    // A plain load asks the service for the active catalogue.
    EXPECT_TRUE(static_cast<bool>(Orvane::serviceHierarchyRefresh()));
}
