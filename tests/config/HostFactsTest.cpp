#include "config/HostFacts.h"
#include "config/linux/LinuxHostPlatform.h"

#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace orvane::model;

namespace {

class SilentPlatform : public HostPlatform {
public:
    std::optional<std::string> commonDataFolder() const override { return std::nullopt; }
    std::optional<std::string> userDataFolder() const override { return std::nullopt; }
    std::optional<std::wstring> computerName() const override { return std::nullopt; }
    std::optional<std::wstring> dnsDomain() const override { return std::nullopt; }
    std::optional<std::wstring> userName() const override { return std::nullopt; }
    std::wstring operatingSystemName() const override { return L"Debian GNU/Linux 12 (bookworm)"; }
};

} // namespace

TEST(HostFacts, UnansweredQuestionsReadAsUnidentified)
{
    DesktopInfo facts = hostFacts(SilentPlatform());
    const std::wstring unidentified = L"N\u00EF\u00BF\u00BDo identificado";
    EXPECT_EQ((std::vector<std::wstring>{unidentified, unidentified, unidentified, L"Debian GNU/Linux 12 (bookworm)"}),
              (std::vector<std::wstring>{facts.installationName, facts.userName, facts.domainName,
                                         facts.operatingSystem}));
}

TEST(HostFacts, ThisHost)
{
    DesktopInfo facts = hostFacts();
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    std::string shortName(host);
    shortName = shortName.substr(0, shortName.find('.'));
    EXPECT_EQ(facts.installationName, std::wstring(shortName.begin(), shortName.end()));
    EXPECT_FALSE(facts.userName.empty());
    EXPECT_NE(facts.userName, kUnidentified);
    EXPECT_EQ(facts.domainName.find(L'/'), std::wstring::npos);
    EXPECT_FALSE(facts.operatingSystem.empty());
}

TEST(HostFacts, OsReleaseNamePrefersPrettyName)
{
    orvane::test::TempDir dir;
    orvane::test::writeFile(dir.file("a"), "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
    orvane::test::writeFile(dir.file("b"), "ID=x\nNAME='Plain'\n");
    EXPECT_EQ(LinuxHostPlatform::osReleaseName(dir.file("a")), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(LinuxHostPlatform::osReleaseName(dir.file("b")), "Plain");
    EXPECT_EQ(LinuxHostPlatform::osReleaseName(dir.file("missing")), "");
}
