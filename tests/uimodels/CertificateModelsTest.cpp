// The certificate list, the removal of a key group and the cloud login,
// wired as the window wires them, against the sandbox services.

#include "ui/models/BackgroundTask.h"
#include "ui/models/CertificatesTableModel.h"
#include "ui/models/HarrierRegistration.h"
#include "ui/models/KeyGroupToBeUnregisteredModel.h"
#include "ui/models/VerificationConnectionServer.h"

#include "model/identity/Orvane.h"
#include "tests/mock/OpenSslTool.h"
#include "tests/mock/ProtocolSupport.h"
#include "tests/uimodels/ModelTestSupport.h"

#include <QDateTime>
#include <QSignalSpy>

#include <array>
#include <string>
#include <vector>

using namespace orvane::model;
using orvane::test::drop;
using orvane::test::fault;
using orvane::test::sandbox;

namespace {

// keyGroup, certificateName, validUntil
using Row = std::array<std::string, 3>;

// The seed's view of a key: holder (the subject's common name) and the last
// day of its certificate in Brasília (UTC-3), as openssl reads it
// ("notAfter=2027-11-23 16:00:00Z").
Row expectedRow(const std::string& group, const Json::Value& key)
{
    QString end = QString::fromStdString(orvane::test::openssl({"x509", "-noout", "-enddate", "-dateopt", "iso_8601"},
                                                               key["certificatePem"].asString()));
    const QDateTime utc = QDateTime::fromString(end.trimmed().mid(9).replace(' ', 'T'), Qt::ISODate).toUTC();
    return {group, key["subject"].asString(), utc.addSecs(-3 * 3600).toString("dd/MM/yyyy").toStdString()};
}

class CertificateModels : public orvane::test::ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        log.watch(&table, &CertificatesTableModel::offLineServer, "offLineServer");
        log.watch(&table, &CertificatesTableModel::certificatesReloaded, "certificatesReloaded");
        QObject::connect(&table, &QAbstractItemModel::modelReset, [this] { log.entries.push_back("modelReset"); });
        log.watch(&table, &CertificatesTableModel::reloadingCertificatesFinished, "reloadingCertificatesFinished");
        log.watch(&table, &CertificatesTableModel::authModeChanged, "authModeChanged");
        log.watch(&keyGroups, &KeyGroupToBeUnregisteredModel::offLineServer, "keyGroups.offLineServer");
        log.watch(&keyGroups, &KeyGroupToBeUnregisteredModel::keyGroupUnregistered, "keyGroupUnregistered");
        log.watch(&harrier, &HarrierRegistration::offlineServer, "offlineServer");
        log.watch(&harrier, &HarrierRegistration::formLoginChanged, "formLoginChanged");
        log.watch(&harrier, &HarrierRegistration::errorOccurred, "errorOccurred");
        log.watch(&harrier, &HarrierRegistration::registrationFinished, "registrationFinished");
    }
    void TearDown() override
    {
        BackgroundTask::waitForLast();
        ProtocolTest::TearDown();
    }

    void attach(Orvane* aggregate)
    {
        table.setPtrOrvane(aggregate);
        keyGroups.setPtrOrvane(aggregate);
        harrier.setPtrOrvane(aggregate);
    }

    // Waits until the table has reset after `count` refreshes.
    void waitForReloads(int count)
    {
        while (reloads.count() < count && reloads.wait(30000)) {
        }
        ASSERT_EQ(reloads.count(), count);
    }

    std::vector<Row> rows() const
    {
        std::vector<Row> all;
        for (int r = 0; r < table.rowCount(); ++r) {
            auto text = [&](const char* role) {
                return table.data(table.index(r, 0), table.roleNames().key(role)).toString().toStdString();
            };
            all.push_back({text("keyGroup"), text("certificateName"), text("validUntil")});
        }
        return all;
    }

    std::unique_ptr<Orvane> identity;
    orvane::test::SignalLog log;
    VerificationConnectionServer server;
    KeyGroupToBeUnregisteredModel keyGroups{&server};
    CertificatesTableModel table{nullptr, &keyGroups, &server};
    HarrierRegistration harrier{&server, &table, &keyGroups};
    QSignalSpy reloads{&table, &CertificatesTableModel::reloadingCertificatesFinished};
};

} // namespace

// From the first refresh to the removal of the account.
TEST_F(CertificateModels, TableGroupsTheIdentitysKeysAndAnswersPerGroup)
{
    for (const std::string& phone : sandbox().deviceCodesOf("ana"))
        pair(*identity, phone);
    ASSERT_TRUE(identity->addHarrierAccount({L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"})
                    .succeeded());
    attach(identity.get());
    table.updateCertificates();
    waitForReloads(1);
    // certificatesReloaded runs the reset before any later listener hears it.
    const std::vector<std::string> reload{"offLineServer(false)", "modelReset", "reloadingCertificatesFinished",
                                          "certificatesReloaded"};
    EXPECT_EQ(log.entries, reload);

    // Phones first, each its own section, then the wallet; every value as
    // the seed's certificates tell it.
    const Json::Value seed = sandbox().seed();
    Json::Value account;
    for (const Json::Value& each : seed["accounts"])
        if (each["email"].asString() == "ana.lima@exemplo.com.br")
            account = each;
    const std::string wallet =
        "harrier de " + account["name"].asString() + " (" + account["organizationName"].asString() + ")";
    std::vector<Row> expected;
    for (const Json::Value& identityEntry : seed["identities"])
        if (identityEntry["slug"].asString() == "ana")
            for (const Json::Value& phone : identityEntry["devices"])
                expected.push_back(expectedRow("kestrel no " + phone["deviceName"].asString(), phone["keys"][0]));
    expected.push_back(expectedRow(wallet, account["wallet"][0]));
    EXPECT_EQ(rows(), expected);
    const QString phone = QString::fromStdString(expected[0][0]);
    const QString cloud = QString::fromStdString(wallet);

    struct Case { QString group, type, mode, localButton, pushButton; };
    for (const Case& c : {Case{phone, "SMARTPHONE", "kestrel", "hiddenSubtitles", "hiddenSubtitles"},
                          Case{cloud, "CLOUD", "local", "selected", "unselected"}}) {
        EXPECT_EQ(table.groupTypeFor(c.group), c.type) << c.group.toStdString();
        EXPECT_EQ(table.getAuthenticationMode(c.group), c.mode);
        EXPECT_EQ(table.getAuthenticationModeButtonState(c.group, "local"), c.localButton);
        EXPECT_EQ(table.getAuthenticationModeButtonState(c.group, "push"), c.pushButton);
    }

    // Only a real switch of a wallet changes the mode, and it is saved at
    // once; every press is answered.
    struct Press { QString group, mode, after; };
    for (const Press& p : {Press{cloud, "local", "local"}, Press{cloud, "push", "push"}, Press{cloud, "remoto", "push"},
                           Press{phone, "local", "kestrel"}, Press{"kestrel no outro", "local", ""}}) {
        log.entries.clear();
        table.changeAuthenticationMode(p.group, p.mode);
        EXPECT_EQ(log.entries, std::vector<std::string>{"authModeChanged"});
        EXPECT_EQ(table.getAuthenticationMode(p.group), p.after) << p.mode.toStdString();
    }
    EXPECT_EQ(Orvane::load()->harrierInstallations().at(0)->authorizationMode, L"push");

    // A name that another phone has is refused, and the view is reset
    // anyway; a free one is taken and saved.
    log.entries.clear();
    table.replaceLocalKeyGroupName(phone, QString::fromStdString(expected[1][0]));
    EXPECT_EQ(log.entries, std::vector<std::string>{"modelReset"});
    table.replaceLocalKeyGroupName(phone, "Celular da Ana");
    EXPECT_EQ(rows().at(0)[0], "Celular da Ana");
    EXPECT_EQ(Orvane::load()->kestrelInstallation().devices.devices.at(0)->localName, L"Celular da Ana");

    // Unreached: offline, and the list stays as it was.
    sandbox().addFault(drop("/listCertificates"));
    log.entries.clear();
    table.updateCertificates();
    waitForReloads(2);
    EXPECT_EQ(log.entries, (std::vector<std::string>{"offLineServer(true)", reload[1], reload[2], reload[3]}));
    EXPECT_TRUE(server.isOffLine());
    EXPECT_EQ(table.rowCount(), 3);

    // Removing the account (a phone's removal is the window test's).
    table.prepareToUnregisterKeyGroup(cloud);
    EXPECT_EQ(keyGroups.keyGroupType(), "CLOUD");
    harrier.setEmail("meio@preenchido");
    log.entries.clear();
    keyGroups.unregisterKeyGroup();
    // The table hears the removal directly and through the login form.
    waitForReloads(4);
    // The form, connected before this log, clears and releases its page
    // while keyGroupUnregistered is being delivered.
    EXPECT_EQ(std::vector<std::string>(log.entries.begin(), log.entries.begin() + 4),
              (std::vector<std::string>{"keyGroups.offLineServer(false)", "formLoginChanged", "registrationFinished",
                                        "keyGroupUnregistered"}));
    EXPECT_EQ(harrier.email(), "");
    EXPECT_EQ(keyGroups.keyGroupName(), cloud);  // the result page still names it
    EXPECT_EQ(table.groupTypeFor(cloud), "");
    EXPECT_EQ(table.rowCount(), 2);
}

// (The successful login is the window test's.)
TEST_F(CertificateModels, HarrierLoginReportsOfflineOrRefusal)
{
    attach(identity.get());
    harrier.setEmail("ana.lima@exemplo.com.br");
    EXPECT_FALSE(harrier.isActionActivated());
    harrier.setPassword("Sandbox#2024");
    EXPECT_TRUE(harrier.isActionActivated());  // the subdomain may stay empty

    Json::Value refusal(Json::objectValue);
    refusal["message"] = "Conta bloqueada";
    struct Case { Json::Value fault; const char* offline; std::string message; };
    for (const Case& c : {Case{drop("/usrsenha"), "offlineServer(true)",
                               "Servidor não encontrado. Verifique se há conexão com a internet.\n"},
                          Case{fault("/usrsenha", 401, refusal), "offlineServer(false)", "Conta bloqueada"}}) {
        sandbox().addFault(c.fault);
        log.entries.clear();
        QSignalSpy failed(&harrier, &HarrierRegistration::errorOccurred);
        harrier.registerUserAtHarrier();
        ASSERT_TRUE(failed.wait(30000));
        EXPECT_EQ(log.entries, (std::vector<std::string>{c.offline, "errorOccurred"}));
        EXPECT_EQ(harrier.errorMessage().toStdString(), c.message);
    }
}
