// The identity file and the aggregate read from it: byte-exact round trips,
// the writer's format, older, hand-edited or damaged files, and which
// installations are the active ones.

#include "config/ApplicationPaths.h"
#include "model/identity/ActiveInstallationNotFound.h"
#include "model/identity/IdentityDocument.h"
#include "model/identity/Orvane.h"
#include "tests/mock/FailureText.h"
#include "tests/mock/TempDir.h"
#include "tests/model/IdentityFixtures.h"

#include <gtest/gtest.h>

#include <regex>

using namespace orvane::model;
using namespace orvane::test;

namespace {

class IdentityDocument : public testing::Test {
protected:
    void SetUp() override { removeIdentityFile(); }
    void TearDown() override { removeIdentityFile(); }
};

using Aggregate = IdentityDocument;

} // namespace

TEST_F(IdentityDocument, SaveLoadSaveGivesTheSameBytesAndValues)
{
    sampleIdentity()->save();
    const std::string first = readFile(identityFilePath());

    // Whatever was written comes back, names of blanks and XML-special
    // characters included: the loaded aggregate writes the same bytes, and a
    // clean load does not rewrite the file.
    const auto loaded = Orvane::load();
    EXPECT_EQ(readFile(identityFilePath()), first);
    loaded->save();
    EXPECT_EQ(readFile(identityFilePath()), first);
}

TEST_F(IdentityDocument, FileFormatIsUtf8TabIndentedInTheWritersOrder)
{
    sampleIdentity()->save();
    const std::string text = readFile(identityFilePath());
    EXPECT_EQ(text.rfind("<?xml version=\"1.0\"?>\n<Orvane>\n\t<PrivateKeyReference>Orvane.", 0), 0u);
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
}

TEST_F(IdentityDocument, HandWrittenDocumentReadsWithDefaultsAndGainsItsMissingParts)
{
    // As an older version or a hand edit may leave it: no Expires, no
    // FutureVersion, elements in another order, a device key without KeyID,
    // a name of blanks, Windows line ends.
    writeFile(identityFilePath(),
              "<?xml version=\"1.0\"?>\r\n<Orvane>\n<DesktopInfo><UserName>ana\r\nlima\rx</UserName></DesktopInfo>\n"
              "<KestrelInstallations><KestrelInstallation TargetUrl=\"https://kestrel.test/TolvaneServices/desktop\">"
              "<Devices LastModified=\"m1\"><Device><Hash>ABCDEFGHIJ</Hash><LocalName> \t </LocalName>"
              "<KeyReferences><KeyReference><Certificate>" + testCertificateBase64(kAdemir) + "</Certificate>"
              "<KeyName>k1</KeyName></KeyReference></KeyReferences></Device></Devices>"
              "<InstallationCode>IC</InstallationCode><Hierarchies LastModified=\"h1\"/>"
              "</KestrelInstallation></KestrelInstallations>\n"
              "<HarrierInstallations><HarrierInstallation TargetUrl=\"harrier.test\"><UserName>Ana</UserName>"
              "<Wallet LastModified=\"w1\"><KeyReferences><KeyReference><KeyName>w</KeyName><Certificate>"
              + testCertificateBase64(kKabum) + "</Certificate><KeyID>" + std::string(40, 'a') + "</KeyID>"
              "</KeyReference></KeyReferences></Wallet></HarrierInstallation></HarrierInstallations>\n</Orvane>\n");
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
    const std::string text = readFile(identityFilePath());
    EXPECT_NE(text.find("<Hierarchies LastModified=\"h1\" Expires=\"0\">"), std::string::npos);
    EXPECT_NE(text.find("<FutureVersion>"), std::string::npos);
    EXPECT_NE(text.find("<LocalName>kestrel no ABCDEFGH</LocalName>"), std::string::npos);
    EXPECT_NE(text.find("<OrganizationID></OrganizationID>"), std::string::npos);  // empty values are elements too
}

TEST_F(IdentityDocument, DamagedOrMissingFilesGiveTheLoadErrorAndAreNeverOverwritten)
{
    const std::string loadError = "Erro ao carregar arquivo de configuração: ";
    EXPECT_EQ(failureOf<BaseException>([] { Orvane::load(); }), loadError + "File was not found");

    sampleIdentity()->save();
    const std::string whole = readFile(identityFilePath());
    std::string badCertificate = whole;
    badCertificate.replace(badCertificate.find("<Certificate>") + 13, 8, "!!!!!!!!");
    for (const std::string& damaged : {whole.substr(0, whole.size() / 2), std::string("\xef\xbb\xbf<Orvane>"),
                                       std::string("<Orvane><Open></Orvane>"), badCertificate}) {
        writeFile(identityFilePath(), damaged);
        // A certificate that is no certificate fails with its own error.
        if (damaged == badCertificate)
            EXPECT_THROW(Orvane::load(), std::invalid_argument);
        else
            EXPECT_EQ(failureOf<BaseException>([] { Orvane::load(); }).rfind(loadError, 0), 0u);
        EXPECT_EQ(readFile(identityFilePath()), damaged);
    }

    // Another root element reads as an empty identity.
    writeFile(identityFilePath(), "<?xml version=\"1.0\"?>\n<Something/>\n");
    bool dirty = false;
    const auto read = Orvane::read(dirty);
    EXPECT_FALSE(dirty);
    EXPECT_TRUE(read->privateKeyReference.empty() && read->kestrelInstallations.empty());
    EXPECT_FALSE(Orvane::hasInstallation());
}

TEST_F(Aggregate, ActiveInstallationsFollowTheConfiguredAddresses)
{
    auto identity = sampleIdentity();
    EXPECT_EQ(identity->kestrelInstallation().installationCode, L"INST-ACTIVE");
    EXPECT_EQ(identity->availableVersion().versionString, L"2.2.0 <beta> & \"rc\"");
    const auto harrier = identity->harrierInstallations();
    ASSERT_EQ(harrier.size(), 1u);
    EXPECT_EQ(harrier[0]->userName, L"Ana");

    // Phones of the active Kestrel installation first, then the active wallet.
    std::vector<std::wstring> names;
    for (KeyReference* reference : identity->certificates()) {
        names.push_back(reference->keyName);
        EXPECT_EQ(reference->owner, identity.get());
    }
    EXPECT_EQ(names, (std::vector<std::wstring>{L"key-1", L"key <2> & co", L"", L"0a 1b;CN=AC SyngularID Multipla",
                                                L"0c;CN=AC Certisign"}));

    // Without an active Kestrel installation the wallets still count.
    identity->kestrelInstallations.pop_back();
    EXPECT_EQ(failureOf<ActiveInstallationNotFound>([&] { identity->kestrelInstallation(); }),
              "Não foi encontrada a instalação para kestrel");
    EXPECT_THROW(identity->availableVersion(), ActiveInstallationNotFound);
    EXPECT_EQ(identity->certificates().size(), 2u);
}

TEST_F(Aggregate, HasInstallationReadsTheFileEachTimeAndNeverWrites)
{
    EXPECT_FALSE(Orvane::hasInstallation());
    // A repair that a load would write back is not written here.
    std::string text = sampleIdentity()->documentText();
    const auto keyId = text.find("<KeyID>");
    text.erase(keyId, text.find("</KeyID>") + 8 - keyId);
    writeFile(identityFilePath(), text);
    EXPECT_TRUE(Orvane::hasInstallation());
    EXPECT_EQ(readFile(identityFilePath()), text);
}
