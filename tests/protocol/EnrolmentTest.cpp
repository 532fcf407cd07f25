// Enrolment of a computer and the hierarchy catalogue, against the sandbox.

#include "tests/mock/ProtocolSupport.h"

#include "model/kestrel/KestrelEnrolment.h"
#include "model/service/ServiceExchange.h"
#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"
#include "signer/Certificate.h"
#include "signer/SystemRepository.h"

#include <filesystem>
#include <regex>

using namespace orvane::model;
using orvane::test::drop;
using orvane::test::FakeClock;
using orvane::test::fault;
using orvane::test::faultUntouched;
using orvane::test::ProtocolTest;
using orvane::test::sandbox;

namespace {

Json::Value sandboxInstallation(const std::wstring& code)
{
    const Json::Value all = sandbox().get("/installations");
    for (const Json::Value& installation : all["kestrel"])
        if (installation["code"].asString() == toUtf8(code))
            return installation;
    return Json::Value();
}

class Enrolment : public ProtocolTest {};
class Catalogue : public ProtocolTest {};

} // namespace

TEST_F(Enrolment, FreshComputerGetsNewKeyPairInstallationCatalogueAndFile)
{
    ASSERT_FALSE(identityFileExists());
    CreateInstallationResult result = Orvane::install(orvane::test::testDesktop(L"estacao-7"));
    ASSERT_TRUE(result.aggregate) << result.message;
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.message, "");

    Orvane& identity = *result.aggregate;
    EXPECT_TRUE(std::regex_match(toUtf8(identity.privateKeyReference),
                                 std::regex("Orvane\\.[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")))
        << toUtf8(identity.privateKeyReference);
    auto& repository = valmora::signer::SystemRepository::processWide();
    ASSERT_TRUE(repository.hasNamedKey(identity.privateKeyReference));

    // The service holds exactly the public key of the token's key and the
    // facts that were given.
    ASSERT_EQ(identity.kestrelInstallations.size(), 1u);
    const KestrelInstallation& installation = identity.kestrelInstallations[0];
    EXPECT_EQ(installation.targetUrl, kestrelBaseUrl());
    const Json::Value atService = sandboxInstallation(installation.installationCode);
    ASSERT_TRUE(atService.isObject());
    EXPECT_EQ(atService["public_key"].asString(),
              valmora::signer::Certificate::publicKeyPem(repository.publicKeyOfNamedKey(identity.privateKeyReference)));
    EXPECT_NE(jsonText(atService).find("estacao-7"), std::string::npos);

    // The catalogue came with the enrolment.
    ASSERT_EQ(installation.hierarchies.hierarchies.size(), 5u);
    EXPECT_EQ(installation.hierarchies.hierarchies[0].code, L"CPF");
    EXPECT_FALSE(installation.hierarchies.lastModified.empty());
    EXPECT_GT(installation.hierarchies.expires, FakeClock().nowSeconds());

    // And all of it is in the file.
    bool dirty = false;
    const auto reread = Orvane::read(dirty, {});
    EXPECT_EQ(reread->documentText(), identity.documentText());
    EXPECT_EQ(reread->desktopInfo.installationName, L"estacao-7");
    EXPECT_TRUE(Orvane::hasInstallation());
}

TEST_F(Enrolment, SecondAddressKeepsKeyPairAndAddsInstallation)
{
    std::unique_ptr<Orvane> first = enrol();
    first->kestrelInstallations[0].targetUrl = L"http://antigo.exemplo/TolvaneServices/desktop";
    first->save();
    ASSERT_FALSE(Orvane::hasInstallation());

    CreateInstallationResult second = Orvane::install(orvane::test::testDesktop(L"renomeada"));
    ASSERT_TRUE(second.aggregate) << second.message;
    EXPECT_EQ(second.aggregate->privateKeyReference, first->privateKeyReference);
    bool dirty = false;
    const auto reread = Orvane::read(dirty, {});
    ASSERT_EQ(reread->kestrelInstallations.size(), 2u);
    EXPECT_EQ(reread->kestrelInstallations[0].targetUrl, L"http://antigo.exemplo/TolvaneServices/desktop");
    EXPECT_EQ(reread->kestrelInstallations[1].targetUrl, kestrelBaseUrl());
    EXPECT_EQ(reread->desktopInfo.installationName, L"renomeada");
}

TEST_F(Enrolment, RefusalFailureAndOfflineWriteNothing)
{
    Json::Value refusal(Json::objectValue);
    refusal["status"] = "false";
    refusal["message"] = "Instalação recusada pelo administrador";
    sandbox().addFault(fault("/create", 200, refusal));
    CreateInstallationResult refused = Orvane::install(orvane::test::testDesktop());
    EXPECT_FALSE(refused.aggregate);
    EXPECT_EQ(refused.message, "Instalação recusada pelo administrador");
    EXPECT_EQ(refused.status, 0);
    EXPECT_FALSE(identityFileExists());

    Json::Value answer(Json::objectValue);
    answer["mensagem"] = "manutencao";
    answer["message"] = "volte mais tarde";
    sandbox().addFault(fault("/create", 503, answer));
    CreateInstallationResult failed = Orvane::install(orvane::test::testDesktop());
    EXPECT_FALSE(failed.aggregate);
    EXPECT_EQ(failed.message, "Problema ao criar uma nova instalação no servidor. Resposta: manutencao. "
                              "Resposta: volte mais tarde. Erro HTTP: 503");
    EXPECT_EQ(failed.status, 1);
    EXPECT_FALSE(identityFileExists());

    sandbox().addFault(drop("/create"));
    CreateInstallationResult offline = Orvane::install(orvane::test::testDesktop());
    EXPECT_FALSE(offline.aggregate);
    EXPECT_EQ(offline.status, 1);
    EXPECT_EQ(offline.message.rfind("Problema ao criar uma nova instalação no servidor. Resposta: ", 0), 0u)
        << offline.message;
    EXPECT_NE(offline.message.find(": Unreachable. Erro HTTP: 0"), std::string::npos) << offline.message;
    EXPECT_FALSE(identityFileExists());
}

TEST_F(Enrolment, OnlyExactFalseRefusesAndCatalogueFailureDoesNotFailEnrolment)
{
    Json::Value odd(Json::objectValue);
    odd["status"] = "False";
    odd["installationCode"] = "codigo-manual";
    sandbox().addFault(fault("/create", 200, odd));
    sandbox().addFault(fault("/listHierarchies", 500));
    const KestrelEnrolmentResult result = createKestrelInstallation(orvane::test::testDesktop(), "-");
    ASSERT_TRUE(result.installation);
    EXPECT_EQ(result.installation->installationCode, L"codigo-manual");
    EXPECT_TRUE(result.installation->hierarchies.hierarchies.empty());
    EXPECT_EQ(result.message, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Catalogue, FreshCopyCostsNoCallAndNotModifiedMovesOnlyExpiry)
{
    std::unique_ptr<Orvane> identity = enrol();
    KestrelInstallation& installation = identity->kestrelInstallations[0];
    const HierarchyCatalogue before = installation.hierarchies;

    FakeClock clock;
    sandbox().addFault(fault("/listHierarchies", 500));
    bool changed = true;
    HierarchyRefreshResult fresh = listHierarchies(installation, changed, clock);
    EXPECT_EQ(fresh.status, 0);
    EXPECT_FALSE(changed);
    EXPECT_TRUE(faultUntouched());
    sandbox().clearFaults();

    // Past the expiry the conditional fetch answers 304.
    installation.hierarchies.expires = 0;
    HierarchyRefreshResult notModified = listHierarchies(installation, changed, clock);
    EXPECT_EQ(notModified.status, 0);
    EXPECT_EQ(notModified.message, "");
    EXPECT_TRUE(changed);
    EXPECT_EQ(installation.hierarchies.expires, clock.nowSeconds() + 300);
    installation.hierarchies.expires = before.expires;
    EXPECT_EQ(installation.hierarchies, before);
}

TEST_F(Catalogue, NewCatalogueIsPrintedAndStoredWithItsMark)
{
    std::unique_ptr<Orvane> identity = enrol();
    KestrelInstallation& installation = identity->kestrelInstallations[0];
    installation.hierarchies = HierarchyCatalogue();

    Json::Value change(Json::objectValue);
    change["maxAge"] = 120;
    change["futureVersion"]["availableSince"] = "2026-01-01";
    change["futureVersion"]["versionString"] = "3.0.0";
    sandbox().post("/catalogue", change);

    FakeClock clock;
    bool changed = false;
    testing::internal::CaptureStdout();
    const HierarchyRefreshResult result = listHierarchies(installation, changed, clock);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(changed);
    EXPECT_EQ(installation.hierarchies.hierarchies.size(), 5u);
    EXPECT_EQ(installation.hierarchies.futureVersion.versionString, L"3.0.0");
    EXPECT_FALSE(installation.hierarchies.lastModified.empty());
    EXPECT_EQ(installation.hierarchies.expires, clock.nowSeconds() + 120);
    EXPECT_EQ(printed.rfind("===================================\n{", 0), 0u) << printed;
    EXPECT_NE(printed.find("\"versionString\" : \"3.0.0\""), std::string::npos);
    EXPECT_NE(printed.find("}\n===================================\n"), std::string::npos);

    Json::Value restore(Json::objectValue);
    restore["maxAge"] = 300;
    sandbox().post("/catalogue", restore);
}

TEST_F(Catalogue, RefusalKeepsCatalogueFailuresReportStatusOne)
{
    std::unique_ptr<Orvane> identity = enrol();
    KestrelInstallation& installation = identity->kestrelInstallations[0];
    const HierarchyCatalogue before = installation.hierarchies;
    bool changed = true;

    Json::Value refusal(Json::objectValue);
    refusal["status"] = false;
    refusal["message"] = "Catálogo em manutenção";
    sandbox().addFault(fault("/listHierarchies", 200, refusal));
    installation.hierarchies.expires = 0;
    HierarchyRefreshResult refused = listHierarchies(installation, changed);
    EXPECT_EQ(refused.message, "Catálogo em manutenção");
    EXPECT_EQ(refused.status, 0);
    EXPECT_FALSE(changed);

    sandbox().addFault(fault("/listHierarchies", 502));
    HierarchyRefreshResult failed = listHierarchies(installation, changed);
    EXPECT_EQ(failed.message, "Hierarquias nao obtidas. Erro HTTP 502");
    EXPECT_EQ(failed.status, 1);

    sandbox().addFault(drop("/listHierarchies"));
    HierarchyRefreshResult offline = listHierarchies(installation, changed);
    EXPECT_EQ(offline.message, "Hierarquias nao obtidas. Erro HTTP 0");
    EXPECT_EQ(offline.status, 1);

    installation.hierarchies.expires = before.expires;
    EXPECT_EQ(installation.hierarchies, before);
}

TEST_F(Catalogue, LoadRefreshesOnlyTheActiveInstallationAndSavesTheNewCopy)
{
    std::unique_ptr<Orvane> identity = enrol();
    KestrelInstallation other = identity->kestrelInstallations[0];
    other.targetUrl = L"http://outro.exemplo/desktop";
    other.hierarchies = HierarchyCatalogue();
    identity->kestrelInstallations.push_back(other);
    identity->kestrelInstallations[0].hierarchies = HierarchyCatalogue();
    identity->save();

    const std::unique_ptr<Orvane> loaded = Orvane::load();
    EXPECT_EQ(loaded->kestrelInstallations[0].hierarchies.hierarchies.size(), 5u);
    EXPECT_TRUE(loaded->kestrelInstallations[1].hierarchies.hierarchies.empty());
    bool dirty = false;
    const auto reread = Orvane::read(dirty, {});
    EXPECT_EQ(reread->kestrelInstallations[0].hierarchies.hierarchies.size(), 5u);
}
