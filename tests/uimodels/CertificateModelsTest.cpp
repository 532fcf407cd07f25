// The certificate list, the removal of a key group and the cloud login,
// wired as the window wires them, against the sandbox services.

#include "ui/models/BackgroundTask.h"
#include "ui/models/CertificatesTableModel.h"
#include "ui/models/HarrierRegistration.h"
#include "ui/models/KeyGroupToBeUnregisteredModel.h"
#include "ui/models/VerificationConnectionServer.h"
#include "ui/models/VersionVerifier.h"

#include "model/identity/Orvane.h"
#include "tests/mock/ProtocolSupport.h"
#include "tests/uimodels/ModelTestSupport.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QSignalSpy>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

using namespace orvane::model;
using orvane::test::drop;
using orvane::test::fault;
using orvane::test::sandbox;

namespace {

// keyGroup, certificateName, validUntil
using Row = std::array<std::string, 3>;

// The last day of a certificate in Brasília (UTC-3), as openssl reads it.
std::string brasiliaEndDate(const std::string& pem)
{
    orvane::test::TempDir dir;
    orvane::test::writeFile(dir.file("c.pem"), pem);
    FILE* pipe = popen(("openssl x509 -noout -enddate -dateopt iso_8601 -in " + dir.file("c.pem")).c_str(), "r");
    char line[128] = {};
    const bool read = pipe && fgets(line, sizeof line, pipe);
    if (pipe)
        pclose(pipe);
    // notAfter=2027-11-23 16:00:00Z
    const QString iso = QString::fromLatin1(read ? line : "").trimmed().mid(9).replace(' ', 'T');
    return QDateTime::fromString(iso, Qt::ISODate).toUTC().addSecs(-3 * 3600).toString("dd/MM/yyyy").toStdString();
}

// The seed's view of a key: holder (the subject's common name), end date.
Row expectedRow(const std::string& group, const Json::Value& key)
{
    return {group, key["subject"].asString(), brasiliaEndDate(key["certificatePem"].asString())};
}

class CertificateModels : public orvane::test::ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        ana = sandbox().deviceCodesOf("ana");
        seed = sandbox().seed();
        for (const Json::Value& each : seed["accounts"])
            if (each["email"].asString() == "ana.lima@exemplo.com.br")
                account = each;
        wallet = "harrier de " + account["name"].asString() + " (" + account["organizationName"].asString() + ")";
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

    // Ana's first `phones` phones paired and her cloud account added, then
    // the table's first refresh.
    void listPhonesAndAccount(std::size_t phones)
    {
        for (std::size_t i = 0; i < phones; ++i)
            pair(*identity, ana.at(i));
        ASSERT_TRUE(identity->addHarrierAccount({L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"})
                        .succeeded());
        attach(identity.get());
        table.updateCertificates();
        waitForReloads(1);
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
            auto text = [&](int role) { return table.data(table.index(r, 0), role).toString().toStdString(); };
            all.push_back({text(259), text(257), text(258)});
        }
        return all;
    }

    std::unique_ptr<Orvane> identity;
    std::vector<std::string> ana;
    Json::Value seed;
    Json::Value account;
    std::string wallet;
    orvane::test::SignalLog log;
    VerificationConnectionServer server;
    KeyGroupToBeUnregisteredModel keyGroups{&server};
    CertificatesTableModel table{nullptr, &keyGroups, &server};
    HarrierRegistration harrier{&server, &table, &keyGroups};
    QSignalSpy reloads{&table, &CertificatesTableModel::reloadingCertificatesFinished};
};

} // namespace

TEST_F(CertificateModels, TableGroupsTheIdentitysKeysAndAnswersPerGroup)
{
    table.updateCertificates();  // no aggregate yet: nothing at all
    QCoreApplication::processEvents();
    EXPECT_TRUE(log.entries.empty());

    listPhonesAndAccount(2);
    // certificatesReloaded runs the reset before any later listener hears it.
    const std::vector<std::string> reload{"offLineServer(false)", "modelReset", "reloadingCertificatesFinished",
                                          "certificatesReloaded"};
    EXPECT_EQ(log.entries, reload);
    EXPECT_EQ(table.roleNames(), (QHash<int, QByteArray>{{257, "certificateName"}, {258, "validUntil"}, {259, "keyGroup"}}));

    // Phones first, each its own section, then the wallet; every value as
    // the seed's certificates tell it.
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
                          Case{cloud, "CLOUD", "local", "selected", "unselected"},
                          Case{"kestrel no outro", "", "", "hiddenSubtitles", "hiddenSubtitles"}}) {
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

    // A name that another phone has is refused; the view is reset anyway.
    const QString other = QString::fromStdString(expected[1][0]);
    log.entries.clear();
    table.replaceLocalKeyGroupName(phone, other);
    EXPECT_EQ(log.entries, std::vector<std::string>{"modelReset"});
    EXPECT_EQ(rows(), expected);
    table.replaceLocalKeyGroupName(phone, "Celular da Ana");
    EXPECT_EQ(table.data(table.index(0, 0), 259).toString(), "Celular da Ana");
    EXPECT_EQ(Orvane::load()->kestrelInstallation().devices.devices.at(0)->localName, L"Celular da Ana");

    // Unreached: offline, and the list stays as it was.
    sandbox().addFault(drop("/listCertificates"));
    log.entries.clear();
    table.updateCertificates();
    waitForReloads(2);
    EXPECT_EQ(log.entries, (std::vector<std::string>{"offLineServer(true)", reload[1], reload[2], reload[3]}));
    EXPECT_TRUE(server.isOffLine());
    EXPECT_EQ(table.rowCount(), 3);

    VersionVerifier version;
    EXPECT_EQ(version.recommendedVersion(), "");
    version.setPtrOrvane(identity.get());
    EXPECT_EQ(version.recommendedVersion().toStdString(), seed["futureVersion"]["versionString"].asString());
}

TEST_F(CertificateModels, UnregisteringAPhoneOrAnAccountReloadsTheListAndClearsTheLoginForm)
{
    listPhonesAndAccount(1);
    struct Case { std::string group, type; };
    int reloadsSoFar = 1;
    for (const Case& c : {Case{rows().at(0)[0], "SMARTPHONE"}, Case{wallet, "CLOUD"}}) {
        QSignalSpy chosen(&keyGroups, &KeyGroupToBeUnregisteredModel::keyGroupChanged);
        table.prepareToUnregisterKeyGroup(QString::fromStdString(c.group));
        EXPECT_EQ(chosen.count(), 1);
        EXPECT_EQ(keyGroups.keyGroupName().toStdString(), c.group);
        EXPECT_EQ(keyGroups.keyGroupType().toStdString(), c.type);

        harrier.setEmail("meio@preenchido");
        log.entries.clear();
        keyGroups.unregisterKeyGroup();
        // The table hears the removal directly and through the login form.
        reloadsSoFar += 2;
        waitForReloads(reloadsSoFar);
        // The form, connected before this log, clears and releases its page
        // while keyGroupUnregistered is being delivered.
        EXPECT_EQ(std::vector<std::string>(log.entries.begin(), log.entries.begin() + 4),
                  (std::vector<std::string>{"keyGroups.offLineServer(false)", "formLoginChanged",
                                            "registrationFinished", "keyGroupUnregistered"}));
        EXPECT_EQ(harrier.email(), "");
        EXPECT_EQ(keyGroups.keyGroupName().toStdString(), c.group);  // the result page still names it
        EXPECT_EQ(table.groupTypeFor(QString::fromStdString(c.group)), "");
    }
    EXPECT_FALSE(table.hasCertificates());
}

TEST_F(CertificateModels, HarrierLoginReportsOfflineRefusalOrSuccess)
{
    attach(identity.get());
    harrier.setEmail("ana.lima@exemplo.com.br");
    EXPECT_FALSE(harrier.isActionActivated());
    harrier.setPassword("Sandbox#2024");
    EXPECT_TRUE(harrier.isActionActivated());  // the subdomain may stay empty
    harrier.setOrganizationSubdomain("cartorio-central");

    Json::Value refusal(Json::objectValue);
    refusal["message"] = "Conta bloqueada";
    struct Case { Json::Value fault; std::vector<std::string> emitted; std::string message; };
    for (const Case& c : {
             Case{drop("/usrsenha"), {"offlineServer(true)", "errorOccurred"},
                  "Servidor n\xC3\xA3o encontrado. Verifique se h\xC3\xA1 conex\xC3\xA3o com a internet.\n"},
             Case{fault("/usrsenha", 401, refusal), {"offlineServer(false)", "errorOccurred"}, "Conta bloqueada"},
             Case{Json::Value(), {"offlineServer(false)", "registrationFinished"}, ""}}) {
        if (!c.fault.isNull())
            sandbox().addFault(c.fault);
        harrier.setErrorMessage("");
        log.entries.clear();
        QSignalSpy done(&harrier, c.message.empty() ? &HarrierRegistration::registrationFinished
                                                    : &HarrierRegistration::errorOccurred);
        harrier.registerUserAtHarrier();
        ASSERT_TRUE(done.wait(30000));
        // (The table's own refresh may follow a success.)
        ASSERT_GE(log.entries.size(), c.emitted.size());
        EXPECT_EQ(std::vector<std::string>(log.entries.begin(), log.entries.begin() + 2), c.emitted);
        EXPECT_EQ(harrier.errorMessage().toStdString(), c.message);
        EXPECT_EQ(harrier.hasError(), !c.message.empty());
    }
    // The new account's certificate comes into the list.
    waitForReloads(1);
    EXPECT_EQ(table.groupTypeFor(QString::fromStdString(wallet)), "CLOUD");
    harrier.cleanModel();
    EXPECT_FALSE(harrier.isActionActivated());
}
