// Enrolment of a computer and the hierarchy catalogue, against the sandbox.

#include "tests/mock/ProtocolSupport.h"

#include "model/kestrel/KestrelEnrolment.h"
#include "model/service/ServiceExchange.h"
#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "config/TextCodec.h"
#include "signer/Certificate.h"
#include "signer/SystemRepository.h"

#include <regex>
#include <tuple>

using namespace orvane::model;
using namespace orvane::test;

namespace {

class Enrolment : public ProtocolTest {};

class Catalogue : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
    }
    KestrelInstallation& installation() { return identity->kestrelInstallations[0]; }

    std::unique_ptr<Orvane> identity;
};

} // namespace

TEST_F(Enrolment, FreshComputerGetsNewKeyPairInstallationCatalogueAndFile)
{
    ASSERT_FALSE(identityFileExists());
    CreateInstallationResult result = Orvane::install(testDesktop(L"estacao-7"));
    ASSERT_TRUE(result.aggregate) << result.message;
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.message, "");

    Orvane& identity = *result.aggregate;
    const std::string keyName = toUtf8(identity.privateKeyReference);
    EXPECT_TRUE(std::regex_match(
        keyName, std::regex("Orvane\\.[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")))
        << keyName;
    auto& repository = valmora::signer::SystemRepository::processWide();
    ASSERT_TRUE(repository.hasNamedKey(identity.privateKeyReference));

    // The service holds exactly the public key of the token's key and the
    // facts that were given.
    ASSERT_EQ(identity.kestrelInstallations.size(), 1u);
    const KestrelInstallation& installation = identity.kestrelInstallations[0];
    EXPECT_EQ(installation.targetUrl, kestrelBaseUrl());
    const Json::Value all = sandbox().get("/installations");
    Json::Value atService;
    for (const Json::Value& each : all["kestrel"])
        if (each["code"].asString() == toUtf8(installation.installationCode))
            atService = each;
    EXPECT_EQ(atService["public_key"].asString(),
              valmora::signer::Certificate::publicKeyPem(repository.publicKeyOfNamedKey(identity.privateKeyReference)));
    EXPECT_NE(jsonText(atService).find("estacao-7"), std::string::npos);

    // The catalogue came with the enrolment, and all of it is in the file.
    ASSERT_EQ(installation.hierarchies.hierarchies.size(), 5u);
    EXPECT_EQ(installation.hierarchies.hierarchies[0].code, L"CPF");
    EXPECT_FALSE(installation.hierarchies.lastModified.empty());
    EXPECT_GT(installation.hierarchies.expires, FakeClock().nowSeconds());
    bool dirty = false;
    EXPECT_EQ(Orvane::read(dirty, {})->documentText(), identity.documentText());
    EXPECT_TRUE(Orvane::hasInstallation());
}

TEST_F(Enrolment, SecondAddressKeepsKeyPairAndAddsInstallation)
{
    std::unique_ptr<Orvane> first = enrol();
    first->kestrelInstallations[0].targetUrl = L"http://antigo.exemplo/TolvaneServices/desktop";
    first->save();
    ASSERT_FALSE(Orvane::hasInstallation());

    CreateInstallationResult second = Orvane::install(testDesktop(L"renomeada"));
    ASSERT_TRUE(second.aggregate) << second.message;
    EXPECT_EQ(second.aggregate->privateKeyReference, first->privateKeyReference);
    bool dirty = false;
    const auto reread = Orvane::read(dirty, {});
    ASSERT_EQ(reread->kestrelInstallations.size(), 2u);
    EXPECT_EQ(reread->kestrelInstallations[0].targetUrl, L"http://antigo.exemplo/TolvaneServices/desktop");
    EXPECT_EQ(reread->kestrelInstallations[1].targetUrl, kestrelBaseUrl());
    EXPECT_EQ(reread->desktopInfo.installationName, L"renomeada");
}

// Only the exact text "false" refuses; a refusal, a failure or a lost
// connection writes nothing, while a catalogue that cannot be had does not
// fail the enrolment.
TEST_F(Enrolment, RefusalFailureAndOfflineWriteNothing)
{
    Json::Value refusal(Json::objectValue);
    refusal["status"] = "false";
    refusal["message"] = "Instalação recusada pelo administrador";
    Json::Value answer(Json::objectValue);
    answer["mensagem"] = "manutencao";
    answer["message"] = "volte mais tarde";
    for (const auto& [planned, message, status] : std::vector<std::tuple<Json::Value, std::string, int>>{
             {fault("/create", 200, refusal), "Instalação recusada pelo administrador", 0},
             {fault("/create", 503, answer), "Problema ao criar uma nova instalação no servidor. Resposta: "
                                             "manutencao. Resposta: volte mais tarde. Erro HTTP: 503", 1},
             {drop("/create"), "", 1}}) {
        sandbox().addFault(planned);
        CreateInstallationResult failed = Orvane::install(testDesktop());
        EXPECT_FALSE(failed.aggregate);
        EXPECT_EQ(failed.status, status);
        if (!message.empty())
            EXPECT_EQ(failed.message, message);
        else
            EXPECT_NE(failed.message.find(": Unreachable. Erro HTTP: 0"), std::string::npos) << failed.message;
        EXPECT_FALSE(identityFileExists());
    }

    Json::Value odd(Json::objectValue);
    odd["status"] = "False";
    odd["installationCode"] = "codigo-manual";
    sandbox().addFault(fault("/create", 200, odd));
    sandbox().addFault(fault("/listHierarchies", 500));
    const KestrelEnrolmentResult result = createKestrelInstallation(testDesktop(), "-");
    ASSERT_TRUE(result.installation);
    EXPECT_EQ(result.installation->installationCode, L"codigo-manual");
    EXPECT_TRUE(result.installation->hierarchies.hierarchies.empty());
    EXPECT_EQ(result.message, "");
    EXPECT_EQ(result.status, 0);
}

// A fresh copy costs no call; past its expiry a 304 moves only the expiry; a
// refusal or a failure keeps the catalogue as it was.
TEST_F(Catalogue, FreshCopyCostsNoCallAndNotModifiedMovesOnlyExpiry)
{
    const HierarchyCatalogue before = installation().hierarchies;
    FakeClock clock;
    sandbox().addFault(fault("/listHierarchies", 500));
    bool changed = true;
    EXPECT_EQ(listHierarchies(installation(), changed, clock).status, 0);
    EXPECT_FALSE(changed);
    EXPECT_TRUE(faultUntouched());
    sandbox().clearFaults();

    installation().hierarchies.expires = 0;
    const HierarchyRefreshResult notModified = listHierarchies(installation(), changed, clock);
    EXPECT_EQ(notModified.status, 0);
    EXPECT_EQ(notModified.message, "");
    EXPECT_TRUE(changed);
    EXPECT_EQ(installation().hierarchies.expires, clock.nowSeconds() + 300);

    Json::Value refusal(Json::objectValue);
    refusal["status"] = false;
    refusal["message"] = "Catálogo em manutenção";
    for (const auto& [planned, message, status] : std::vector<std::tuple<Json::Value, std::string, int>>{
             {fault("/listHierarchies", 200, refusal), "Catálogo em manutenção", 0},
             {fault("/listHierarchies", 502), "Hierarquias nao obtidas. Erro HTTP 502", 1},
             {drop("/listHierarchies"), "Hierarquias nao obtidas. Erro HTTP 0", 1}}) {
        sandbox().addFault(planned);
        installation().hierarchies.expires = 0;
        changed = true;
        const HierarchyRefreshResult failed = listHierarchies(installation(), changed, clock);
        EXPECT_EQ(failed.message, message);
        EXPECT_EQ(failed.status, status);
        EXPECT_FALSE(changed);
    }
    installation().hierarchies.expires = before.expires;
    EXPECT_EQ(installation().hierarchies, before);
}

TEST_F(Catalogue, NewCatalogueIsPrintedAndStoredWithItsMark)
{
    installation().hierarchies = HierarchyCatalogue();
    Json::Value change(Json::objectValue);
    change["maxAge"] = 120;
    change["futureVersion"]["availableSince"] = "2026-01-01";
    change["futureVersion"]["versionString"] = "3.0.0";
    sandbox().post("/catalogue", change);

    FakeClock clock;
    bool changed = false;
    testing::internal::CaptureStdout();
    const HierarchyRefreshResult result = listHierarchies(installation(), changed, clock);
    const std::string printed = testing::internal::GetCapturedStdout();
    change = Json::Value(Json::objectValue);
    change["maxAge"] = 300;
    sandbox().post("/catalogue", change);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(changed);
    EXPECT_EQ(installation().hierarchies.hierarchies.size(), 5u);
    EXPECT_EQ(installation().hierarchies.futureVersion.versionString, L"3.0.0");
    EXPECT_FALSE(installation().hierarchies.lastModified.empty());
    EXPECT_EQ(installation().hierarchies.expires, clock.nowSeconds() + 120);
    EXPECT_EQ(printed.rfind("===================================\n{", 0), 0u) << printed;
    EXPECT_NE(printed.find("\"versionString\" : \"3.0.0\""), std::string::npos);
    EXPECT_NE(printed.find("}\n===================================\n"), std::string::npos);
}

TEST_F(Catalogue, LoadRefreshesOnlyTheActiveInstallationAndSavesTheNewCopy)
{
    KestrelInstallation other = installation();
    other.targetUrl = L"http://outro.exemplo/desktop";
    other.hierarchies = HierarchyCatalogue();
    identity->kestrelInstallations.push_back(other);
    installation().hierarchies = HierarchyCatalogue();
    identity->save();

    const std::unique_ptr<Orvane> loaded = Orvane::load();
    EXPECT_EQ(loaded->kestrelInstallations[0].hierarchies.hierarchies.size(), 5u);
    EXPECT_TRUE(loaded->kestrelInstallations[1].hierarchies.hierarchies.empty());
    bool dirty = false;
    EXPECT_EQ(Orvane::read(dirty, {})->kestrelInstallations[0].hierarchies.hierarchies.size(), 5u);
}
