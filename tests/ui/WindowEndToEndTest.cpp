// The real window against the sandbox services, driven by the names of its
// controls from a first start: registration, a phone's certificates, a cloud
// account and the phone's removal, checked by what the screen shows.
#include "app/Application.h"
#include "app/ObjectGraph.h"
#include "app/tour/WindowDriver.h"
#include "config/ApplicationPaths.h"
#include "tests/mock/SandboxServices.h"

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <gtest/gtest.h>

namespace {

using orvane::test::SandboxServices;

const QString kPhone = QStringLiteral("Galaxy S23 de Ana");
const QString kOtherPhone = QStringLiteral("iPhone 13 de Ana");

// Answers every pending authorisation of the identity's phones; true once
// `expected` of them are approved.
bool approveAll(SandboxServices& sandbox, std::size_t expected)
{
    sandbox.answerPending("A", {});
    return sandbox.requests("approved", "A").size() + sandbox.requests("used", "A").size() >= expected;
}

// The band of the section whose name holds `name`, or null.
QQuickItem* sectionOf(const WindowDriver& driver, const QString& name)
{
    QQuickItem* label = driver.findWithText(QStringLiteral("sectionName"), name);
    return label ? label->parentItem() : nullptr;
}

TEST(WindowEndToEnd, RegistersAddsAPhoneAndACloudAccountAndUnregistersThePhone)
{
    SandboxServices sandbox(orvane::model::configFilePath(), {}, ORVANE_BINARY_DIR "/tests/ui/sandbox-pki");
    int argc = 1;
    char name[] = "window_e2e_test";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);

    ObjectGraph graph;
    graph.start(Application::kVersion);
    QQmlApplicationEngine engine;
    QQuickWindow* window = Application::loadWindow(engine, graph);
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    const WindowDriver driver(window, 60000);

    // The wizard, from its first page to the list.
    ASSERT_TRUE(driver.click("continueButton"));
    ASSERT_TRUE(driver.type("installationNameField", "bancada-e2e"));
    ASSERT_TRUE(driver.click("registerButton"));
    ASSERT_NE(driver.waitReady("showCertificatesButton"), nullptr) << "the registration did not end";
    EXPECT_TRUE(driver.showsText("Instalação Concluída"));
    ASSERT_TRUE(driver.click("showCertificatesButton"));
    EXPECT_EQ(sandbox.get("/installations")["kestrel"][0]["installation_name"].asString(), "bancada-e2e")
        << sandbox.get("/installations").toStyledString();

    // Nothing to list yet: the addition frame opens by itself.
    ASSERT_NE(driver.waitReady("kestrelCard"), nullptr);
    ASSERT_TRUE(driver.click("kestrelCard"));
    ASSERT_TRUE(driver.type("identityCode1", "39053344705"));
    EXPECT_EQ(driver.text("resultMask"), "390.533.447-05");
    ASSERT_TRUE(driver.click("searchButton"));

    // Both phones of the identity come ticked; with none ticked there is
    // nothing to send.
    ASSERT_NE(driver.waitReady("deviceCheck1"), nullptr);
    EXPECT_EQ(driver.text("deviceCheck0"), kPhone);
    EXPECT_EQ(driver.text("deviceCheck1"), kOtherPhone);
    ASSERT_TRUE(driver.click("deviceCheck0") && driver.click("deviceCheck1"));
    EXPECT_TRUE(driver.waitFor([&] { return !driver.find("authorizeButton")->isEnabled(); }));
    ASSERT_TRUE(driver.click("deviceCheck0") && driver.click("deviceCheck1"));
    ASSERT_TRUE(driver.click("authorizeButton"));
    EXPECT_NE(driver.waitReady("authorizationWaitView"), nullptr);
    ASSERT_TRUE(driver.waitFor([&] { return approveAll(sandbox, 2); }));
    ASSERT_NE(driver.waitReady("authorizationDone"), nullptr);
    EXPECT_EQ(driver.text("outcomeText", driver.find("authorizationOutcomeView")), "Concluído");
    ASSERT_TRUE(driver.click("authorizationDone"));

    // The certificates, under each phone's section.
    ASSERT_TRUE(driver.waitFor([&] { return sectionOf(driver, kPhone) && sectionOf(driver, kOtherPhone); }));
    EXPECT_TRUE(driver.waitFor([&] { return driver.showsText("ANA BEATRIZ SOUZA LIMA"); }));

    // A cloud account, from the tool bar.
    QQuickItem* add = driver.waitReady("addCertificateAction");
    ASSERT_NE(add, nullptr);
    ASSERT_TRUE(driver.click(add->childItems().first()));   // its icon takes the clicks
    ASSERT_TRUE(driver.click("harrierCard"));
    ASSERT_TRUE(driver.type("harrierEmail", "ana.lima@exemplo.com.br"));
    ASSERT_TRUE(driver.type("harrierSubdomain", "cartorio-central"));
    ASSERT_TRUE(driver.type("harrierPassword", "Sandbox#2024"));
    ASSERT_TRUE(driver.click("authorizeAccessButton"));
    ASSERT_NE(driver.waitReady("harrierDone"), nullptr);
    EXPECT_EQ(driver.text("outcomeText", driver.find("harrierOutcome")), "Sincronização efetuada com Sucesso");
    ASSERT_TRUE(driver.click("harrierDone"));
    ASSERT_TRUE(driver.waitFor([&] { return sectionOf(driver, "harrier de ") != nullptr; }));

    // The phone leaves, from the controls its section shows under the pointer.
    QQuickItem* section = sectionOf(driver, kPhone);
    ASSERT_NE(section, nullptr);
    driver.hover(section);
    ASSERT_TRUE(driver.waitFor([&] { return driver.find("sectionControls", section)->opacity() == 1.0; }));
    ASSERT_TRUE(driver.click("unregisterGroupButton", section));
    ASSERT_NE(driver.waitReady("unregisterButton"), nullptr);
    EXPECT_EQ(driver.text("unregisterGroupName"), "kestrel no " + kPhone);
    ASSERT_TRUE(driver.click("unregisterButton"));
    ASSERT_NE(driver.waitReady("unregisterDone"), nullptr);
    EXPECT_EQ(driver.text("outcomeText", driver.find("unregisterOutcome")),
              "O dispositivo foi descadastrado com sucesso");
    ASSERT_TRUE(driver.click("unregisterDone"));
    EXPECT_TRUE(driver.waitFor([&] { return sectionOf(driver, kPhone) == nullptr; }));
    EXPECT_NE(sectionOf(driver, kOtherPhone), nullptr);
    EXPECT_NE(sectionOf(driver, "harrier de "), nullptr);
    const Json::Value paired = sandbox.get("/installations")["kestrel"][0]["devices"];
    EXPECT_EQ(paired.size(), 1u) << paired.toStyledString();
}

} // namespace
