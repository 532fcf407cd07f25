// Harrier accounts: login and registration of this computer, the
// authorisation mode, wallet listings and invalidation, against the sandbox.

#include "tests/mock/ProtocolSupport.h"

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/harrier/HarrierCalls.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"

#include <filesystem>

using namespace orvane::model;
using orvane::test::drop;
using orvane::test::fault;
using orvane::test::ProtocolTest;
using orvane::test::publishedEntries;
using orvane::test::sandbox;

namespace {

const UserCredentials kAna{L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"};
const UserCredentials kHorizonte{L"financeiro@horizonteazul.com.br", L"horizonte-azul", L"Horizonte#2024"};

Json::Value desktopAtService(const std::wstring& code)
{
    const Json::Value all = sandbox().get("/installations");
    for (const Json::Value& desktop : all["harrier"])
        if (desktop["code"].asString() == toUtf8(code))
            return desktop;
    return Json::Value();
}

class Harrier : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
    }
    HarrierInstallation& account()
    {
        const auto active = identity->harrierInstallations();
        if (active.empty())
            throw std::runtime_error("no account");
        return *active.front();
    }

    std::unique_ptr<Orvane> identity;
};

} // namespace

TEST_F(Harrier, AccountAddedListedModeFilledAndWalletInvalidated)
{
    const OperationResult added = identity->addHarrierAccount(kAna);
    ASSERT_TRUE(added.succeeded()) << added.message;
    ASSERT_EQ(identity->harrierInstallations().size(), 1u);
    HarrierInstallation& installation = account();
    EXPECT_EQ(installation.targetUrl, harrierBaseUrl());
    EXPECT_FALSE(installation.desktopCode.empty());
    EXPECT_FALSE(installation.userId.empty());
    EXPECT_EQ(installation.authorizationMode, L"local");
    EXPECT_EQ(installation.owner, identity.get());
    ASSERT_TRUE(installation.wallet);
    EXPECT_EQ(installation.wallet->name(),
              L"harrier de " + installation.userName + L" (" + installation.organizationName + L")");

    // The service knows this computer by its own key.
    const Json::Value desktop = desktopAtService(installation.desktopCode);
    ASSERT_TRUE(desktop.isObject());
    EXPECT_TRUE(desktop["valid"].asBool());

    bool dirty = false;
    EXPECT_EQ(Orvane::read(dirty, {})->allHarrierInstallations.size(), 1u);

    // The refresh lists the wallet and publishes its key.
    ASSERT_TRUE(identity->refreshCertificates().succeeded());
    ASSERT_EQ(installation.wallet->keyReferences.size(), 1u);
    const KeyReference& key = installation.wallet->keyReferences[0];
    EXPECT_NE(key.keyName.find(L';'), std::wstring::npos);
    EXPECT_TRUE(key.hasKeyId());
    EXPECT_EQ(key.strategy, &HarrierSignatureStrategy::instance());
    EXPECT_EQ(key.owner, identity.get());
    EXPECT_EQ(publishedEntries().count(key.certificate->fingerprint()), 1u);
    EXPECT_FALSE(installation.wallet->lastModified.empty());
    const KeyId id = key.keyId;

    const CertificateListResult again = listWallet(installation);
    EXPECT_EQ(again.changed, CertificateListResult::NotModified);
    installation.wallet->lastModified.clear();
    ASSERT_EQ(listWallet(installation).changed, CertificateListResult::NewList);
    EXPECT_EQ(installation.wallet->keyReferences[0].keyId, id);

    // Taking the wallet away ends it at the service and drops the account.
    std::filesystem::remove(identityFilePath());
    const std::wstring code = installation.desktopCode;
    EXPECT_EQ(identity->unregisterKeyGroup(installation.wallet.get()), 0);
    EXPECT_TRUE(identity->harrierInstallations().empty());
    EXPECT_FALSE(desktopAtService(code)["valid"].asBool());
    EXPECT_TRUE(Orvane::read(dirty, {})->allHarrierInstallations.empty());
}

TEST_F(Harrier, ModeIsLocalEvenForAnAccountWithPush)
{
    ASSERT_TRUE(identity->addHarrierAccount(kHorizonte).succeeded());
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

    sandbox().addFault(drop("/login/usrsenha"));
    const OperationResult offline = identity->addHarrierAccount(kAna);
    EXPECT_EQ(offline.message, "harrier offline");
    EXPECT_EQ(offline.status, 1);

    Json::Value forbidden(Json::objectValue);
    forbidden["message"] = "Desktop não autorizado";
    sandbox().addFault(fault("/organizacao/", 403, forbidden));
    testing::internal::CaptureStderr();
    const OperationResult notRegistered = identity->addHarrierAccount(kAna);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(notRegistered.message, "Desktop não autorizado");
    EXPECT_EQ(notRegistered.status, 0);
    EXPECT_NE(printed.find("===================================\n"), std::string::npos);

    sandbox().addFault(drop("/organizacao/"));
    const OperationResult registrationOffline = identity->addHarrierAccount(kAna);
    EXPECT_EQ(registrationOffline.message, "");
    EXPECT_EQ(registrationOffline.status, 1);

    EXPECT_TRUE(identity->harrierInstallations().empty());
    EXPECT_EQ(orvane::test::readFile(identityFilePath()), before);
}

TEST_F(Harrier, WalletFailuresAreMessagesAndKeepTheWallet)
{
    ASSERT_TRUE(identity->addHarrierAccount(kAna).succeeded());
    ASSERT_EQ(listWallet(account()).changed, CertificateListResult::NewList);
    const std::string before = identity->documentText();

    Json::Value x(Json::objectValue);
    x["message"] = "x";
    sandbox().addFault(fault("/carteira", 403, x));
    const CertificateListResult forbidden = listWallet(account());
    EXPECT_EQ(forbidden.changed, CertificateListResult::Failed);
    EXPECT_EQ(forbidden.message, "Certificados não obtidos. Erro HTTP(403): \"x\"");
    EXPECT_EQ(forbidden.status, 0);

    sandbox().addFault(fault("/carteira", 201, Json::Value(Json::objectValue)));
    EXPECT_EQ(listWallet(account()).message, "Certificados não obtidos. Erro HTTP(201): null");

    sandbox().addFault(fault("/carteira", 200, Json::Value(Json::objectValue)));
    const CertificateListResult unreadable = listWallet(account());
    EXPECT_EQ(unreadable.message, "Impossível interpretar resposta do servidor");
    EXPECT_EQ(unreadable.status, 0);

    sandbox().addFault(drop("/carteira"));
    const CertificateListResult offline = listWallet(account());
    EXPECT_EQ(offline.message, "Servidor está offline");
    EXPECT_EQ(offline.status, 1);
    EXPECT_EQ(identity->documentText(), before);

    // A wallet listing that fails stops the refresh before any save.
    std::filesystem::remove(identityFilePath());
    sandbox().addFault(fault("/carteira", 403, x));
    const OperationResult refresh = identity->refreshCertificates();
    EXPECT_EQ(refresh.message, "Certificados não obtidos. Erro HTTP(403): \"x\"");
    EXPECT_FALSE(identityFileExists());
}

TEST_F(Harrier, FailedInvalidationStillSavesAndKeepsTheAccount)
{
    ASSERT_TRUE(identity->addHarrierAccount(kAna).succeeded());
    std::filesystem::remove(identityFilePath());
    sandbox().addFault(fault("/carteira/invalida", 500));
    EXPECT_EQ(identity->unregisterKeyGroup(account().wallet.get()), 0);
    EXPECT_EQ(identity->harrierInstallations().size(), 1u);
    EXPECT_TRUE(identityFileExists());

    sandbox().addFault(drop("/carteira/invalida"));
    EXPECT_EQ(identity->unregisterKeyGroup(account().wallet.get()), 1);
    EXPECT_EQ(identity->harrierInstallations().size(), 1u);

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

TEST_F(Harrier, WithoutActivePhoneInstallationOnlyTheWalletIsListed)
{
    ASSERT_TRUE(identity->addHarrierAccount(kAna).succeeded());
    identity->kestrelInstallations[0].targetUrl = L"http://desativado.exemplo/desktop";
    sandbox().addFault(fault("/listCertificates/", 500));
    const OperationResult result = identity->refreshCertificates();
    EXPECT_TRUE(result.succeeded()) << result.message;
    EXPECT_EQ(account().wallet->keyReferences.size(), 1u);
    EXPECT_EQ(sandbox().faults().at(0)["hits"].asInt(), 0);
    const auto certificates = identity->certificates();
    ASSERT_EQ(certificates.size(), 1u);
    EXPECT_EQ(publishedEntries().size(), 1u);
}
