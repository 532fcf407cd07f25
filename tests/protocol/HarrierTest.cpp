// Harrier accounts: login and registration of this computer, the
// authorisation mode, wallet listings and invalidation, against the sandbox.

#include "tests/mock/ProtocolSupport.h"

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/harrier/HarrierCalls.h"
#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"

#include <filesystem>
#include <tuple>

using namespace orvane::model;
using namespace orvane::test;

namespace {

const UserCredentials kAna{L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"};

bool validAtService(const std::wstring& desktopCode)
{
    const Json::Value all = sandbox().get("/installations");
    for (const Json::Value& desktop : all["harrier"])
        if (desktop["code"].asString() == toUtf8(desktopCode))
            return desktop["valid"].asBool();
    return false;
}

class Harrier : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
    }
    HarrierInstallation& account() { return *identity->harrierInstallations().at(0); }

    std::unique_ptr<Orvane> identity;
};

} // namespace

TEST_F(Harrier, AccountAddedListedAndWalletInvalidated)
{
    const OperationResult added = identity->addHarrierAccount(kAna);
    ASSERT_TRUE(added.succeeded()) << added.message;
    HarrierInstallation& installation = account();
    EXPECT_EQ(installation.targetUrl, harrierBaseUrl());
    EXPECT_FALSE(installation.userId.empty());
    ASSERT_TRUE(installation.wallet);
    EXPECT_TRUE(validAtService(installation.desktopCode));
    bool dirty = false;
    EXPECT_EQ(Orvane::read(dirty, {})->allHarrierInstallations.size(), 1u);

    // The refresh lists the wallet and publishes its key.
    ASSERT_TRUE(identity->refreshCertificates().succeeded());
    ASSERT_EQ(installation.wallet->keyReferences.size(), 1u);
    const KeyReference& key = installation.wallet->keyReferences[0];
    EXPECT_NE(key.keyName.find(L';'), std::wstring::npos);
    EXPECT_EQ(publishedEntries().count(key.certificate->fingerprint()), 1u);
    const KeyId id = key.keyId;

    EXPECT_EQ(listWallet(installation).changed, CertificateListResult::NotModified);
    installation.wallet->lastModified.clear();
    ASSERT_EQ(listWallet(installation).changed, CertificateListResult::NewList);
    EXPECT_EQ(installation.wallet->keyReferences[0].keyId, id);

    // Taking the wallet away ends it at the service and drops the account.
    std::filesystem::remove(identityFilePath());
    const std::wstring code = installation.desktopCode;
    EXPECT_EQ(identity->unregisterKeyGroup(installation.wallet.get()), 0);
    EXPECT_TRUE(identity->harrierInstallations().empty());
    EXPECT_FALSE(validAtService(code));
    EXPECT_TRUE(Orvane::read(dirty, {})->allHarrierInstallations.empty());
}

// The mode is "local" even for an account whose user has push; a failed
// invalidation keeps the account but still saves, a lost one reports it.
TEST_F(Harrier, ModeIsLocalForAPushAccountAndInvalidationFailuresKeepIt)
{
    ASSERT_TRUE(identity->addHarrierAccount({L"financeiro@horizonteazul.com.br", L"horizonte-azul",
                                             L"Horizonte#2024"}).succeeded());
    EXPECT_EQ(account().authorizationMode, L"local");
    account().authorizationMode.clear();
    sandbox().addFault(fault("/statusCelular", 500));
    const HarrierOperationResult failed = refreshAuthorizationMode(account());
    EXPECT_EQ(failed.status, 0);
    EXPECT_FALSE(failed.message.empty());
    EXPECT_TRUE(account().authorizationMode.empty());
    sandbox().addFault(drop("/statusCelular"));
    EXPECT_EQ(refreshAuthorizationMode(account()).status, 1);
    identity->refreshAuthorizationModes();
    EXPECT_EQ(account().authorizationMode, L"local");

    std::filesystem::remove(identityFilePath());
    for (const auto& [planned, status] : {std::pair{fault("/carteira/invalida", 500), 0},
                                          std::pair{drop("/carteira/invalida"), 1}}) {
        sandbox().addFault(planned);
        EXPECT_EQ(identity->unregisterKeyGroup(account().wallet.get()), status);
        EXPECT_EQ(identity->harrierInstallations().size(), 1u);
        EXPECT_TRUE(identityFileExists());
    }

    // A wallet that belongs to no installation of this identity.
    Wallet stray;
    try {
        identity->unregisterKeyGroup(&stray);
        ADD_FAILURE() << "no failure";
    } catch (ActiveInstallationNotFound* thrown) {
        const std::unique_ptr<ActiveInstallationNotFound> owned(thrown);
        EXPECT_STREQ(owned->what(), "Não foi encontrada a instalação para Wallet não encontrada");
    }
}

TEST_F(Harrier, LoginAndRegistrationRefusalsAndOffline)
{
    const std::string before = orvane::test::readFile(identityFilePath());

    const OperationResult refused = identity->addHarrierAccount({kAna.email, kAna.organizationSubdomain, L"errada"});
    EXPECT_FALSE(refused.message.empty());
    EXPECT_EQ(refused.status, 0);

    Json::Value numeric(Json::objectValue);
    numeric["message"] = 17;
    sandbox().addFault(fault("/login/usrsenha", 401, numeric));
    const LoginResult composed = loginHarrier(kAna);
    EXPECT_EQ(composed.message, "harrier respondeu com status 401");
    EXPECT_EQ(composed.status, 0);
    EXPECT_FALSE(composed.installation);

    Json::Value forbidden(Json::objectValue);
    forbidden["message"] = "Desktop não autorizado";
    testing::internal::CaptureStderr();
    for (const auto& [planned, message, status] : std::vector<std::tuple<Json::Value, std::string, int>>{
             {drop("/login/usrsenha"), "harrier offline", 1},
             {fault("/organizacao/", 403, forbidden), "Desktop não autorizado", 0},
             {drop("/organizacao/"), "", 1}}) {
        sandbox().addFault(planned);
        const OperationResult failed = identity->addHarrierAccount(kAna);
        EXPECT_EQ(failed.message, message);
        EXPECT_EQ(failed.status, status);
    }
    // The registration's refusal is printed between rules.
    EXPECT_NE(testing::internal::GetCapturedStderr().find("===================================\n"), std::string::npos);

    EXPECT_TRUE(identity->harrierInstallations().empty());
    EXPECT_EQ(orvane::test::readFile(identityFilePath()), before);
}

TEST_F(Harrier, WalletFailuresAreMessagesAndARefreshWithoutPhonesListsOnlyTheWallet)
{
    ASSERT_TRUE(identity->addHarrierAccount(kAna).succeeded());
    ASSERT_EQ(listWallet(account()).changed, CertificateListResult::NewList);
    const std::string before = identity->documentText();

    Json::Value x(Json::objectValue);
    x["message"] = "x";
    const Json::Value empty(Json::objectValue);
    for (const auto& [planned, message, status] : std::vector<std::tuple<Json::Value, std::string, int>>{
             {fault("/carteira", 403, x), "Certificados não obtidos. Erro HTTP(403): \"x\"", 0},
             {fault("/carteira", 201, empty), "Certificados não obtidos. Erro HTTP(201): null", 0},
             {fault("/carteira", 200, empty), "Impossível interpretar resposta do servidor", 0},
             {drop("/carteira"), "Servidor está offline", 1}}) {
        sandbox().addFault(planned);
        const CertificateListResult failed = listWallet(account());
        EXPECT_EQ(failed.changed, CertificateListResult::Failed) << message;
        EXPECT_EQ(failed.message, message);
        EXPECT_EQ(failed.status, status);
    }
    EXPECT_EQ(identity->documentText(), before);

    // A wallet listing that fails stops the refresh before any save.
    std::filesystem::remove(identityFilePath());
    sandbox().addFault(fault("/carteira", 403, x));
    EXPECT_EQ(identity->refreshCertificates().message, "Certificados não obtidos. Erro HTTP(403): \"x\"");
    EXPECT_FALSE(identityFileExists());

    // Without an active phone installation only the wallet is listed.
    sandbox().clearFaults();
    account().wallet->lastModified.clear();
    identity->kestrelInstallations[0].targetUrl = L"http://desativado.exemplo/desktop";
    sandbox().addFault(fault("/listCertificates/", 500));
    const OperationResult walletOnly = identity->refreshCertificates();
    EXPECT_TRUE(walletOnly.succeeded()) << walletOnly.message;
    EXPECT_TRUE(faultUntouched());
    EXPECT_EQ(identity->certificates().size(), 1u);
    EXPECT_EQ(publishedEntries().size(), 1u);
}
