// Finding an identity's phones, having them approve this computer, and
// removing phones, from the models down to the sandbox; every wait runs on
// the fake clock.

#include "ui/models/FoundDevicesModel.h"
#include "ui/models/HierarchyItemModel.h"
#include "ui/models/HierarchyListModel.h"
#include "ui/models/MaintenanceDevicesModel.h"
#include "ui/models/RegistrationModel.h"
#include "ui/models/VerificationConnectionServer.h"

#include "tests/mock/ProtocolSupport.h"
#include "tests/uimodels/ModelTestSupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

using orvane::test::drop;
using orvane::test::FakeClock;
using orvane::test::sandbox;
using orvane::test::SignalLog;

namespace {

const QString kUnanswered =
    QStringLiteral("Atenção !! os seguintes dispositivos não responderam a solicitação :\n");

class DeviceFlows : public orvane::test::ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        hierarchies.setPtrOrvane(identity.get());
        found.setPtrOrvane(identity.get());
        maintenance.setPtrOrvane(identity.get());
        registration.setPtrOrvane(identity.get());
        found.setClock(clock);
        maintenance.setClock(clock);
        log.watch(&registration, &RegistrationModel::requestRegistrationFinished, "r.finished");
        log.watch(&registration, &RegistrationModel::requestMaintenanceFinished, "r.finished");
        log.watchWith(&registration, &RegistrationModel::errorChanged, "r.error",
                      [this] { return registration.errorMessage(); });
        log.watch(&found, &FoundDevicesModel::devicesFound, "f.found");
        log.watch(&found, &FoundDevicesModel::devicesRegistered, "f.registered");
        log.watchWith(&found, &FoundDevicesModel::confirmDevice, "f.waiting", [this] { return found.listWaiting(); });
        log.watchWith(&found, &FoundDevicesModel::errorChanged, "f.error",
                      [this] { return found.errorMessage() + QLatin1Char('|') + found.errorListDevices(); });
        log.watch(&found, &FoundDevicesModel::offLineServer, "f.offline");
        log.watch(&maintenance, &MaintenanceDevicesModel::devicesFound, "m.found");
        log.watch(&maintenance, &MaintenanceDevicesModel::configureIndexCombo, "m.combo");
        log.watchWith(&maintenance, &MaintenanceDevicesModel::confirmDevice, "m.waiting",
                      [this] { return maintenance.listWaiting(); });
        log.watchWith(&maintenance, &MaintenanceDevicesModel::errorChanged, "m.error",
                      [this] {
                          return maintenance.errorMessage() + QLatin1Char('|') + maintenance.errorListDevices();
                      });
        log.watch(&maintenance, &MaintenanceDevicesModel::pushAuthenticationDeviceFinished, "m.authenticated");
        log.watch(&maintenance, &MaintenanceDevicesModel::maintenanceDevices, "m.maintenance");
        log.watch(&maintenance, &MaintenanceDevicesModel::offLineServer, "m.offline");
    }

    // Types a document number into the hierarchy's form and searches.
    void search(const QString& code, const QString& number, bool forMaintenance = false)
    {
        for (int row = 0; row < hierarchies.rowCount(); ++row)
            if (hierarchies.at(static_cast<uint>(row))->code() == code)
                registration.setHierarchyItemModel(hierarchies.at(static_cast<uint>(row)));
        registration.hierarchyItemModel()->setIdentityCode1(number);
        if (forMaintenance)
            registration.requestMaintenanceDevices();
        else
            registration.requestRegistration();
        orvane::test::settle();
    }
    void approvePending(const std::string& kind, const std::string& deviceCode)
    {
        for (const Json::Value& request : pending(kind, deviceCode))
            sandbox().approve(request["id"].asString());
    }
    QVariant found_(int row, int role) { return found.data(found.index(row, 0), role); }
    QVariant kept(int row, int role) { return maintenance.data(maintenance.index(row), role); }

    FakeClock clock;
    std::unique_ptr<orvane::model::Orvane> identity;
    VerificationConnectionServer server;
    HierarchyListModel hierarchies{&server};
    FoundDevicesModel found{&server};
    MaintenanceDevicesModel maintenance{&server};
    RegistrationModel registration{&found, &maintenance, &server, &hierarchies};
    SignalLog log;
};

using Log = std::vector<std::string>;

} // namespace

TEST_F(DeviceFlows, TwoPhonesOneApprovesTheOtherRunsToTheDeadline)
{
    search(QStringLiteral("CPF"), QStringLiteral("39053344705"));
    EXPECT_EQ(log.entries, (Log{"r.error=", "f.found", "r.finished"}));
    ASSERT_EQ(found.rowCount(), 2);
    EXPECT_EQ(found.roleNames().value(258), QByteArray("deviceName"));
    EXPECT_EQ(found_(0, 258).toString(), QStringLiteral("Galaxy S23 de Ana"));
    EXPECT_TRUE(found_(0, 257).toBool() && found_(1, 257).toBool() && found_(1, 259).toBool());
    EXPECT_TRUE(found.getAnyDeviceSelected());

    const std::string galaxy = sandbox().deviceCodesOf("ana").at(0);
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 3)
            approvePending("A", galaxy);
    };
    log.entries.clear();
    found.registerWithDevices();
    orvane::test::settle();

    // The wait ran to its deadline on the injected clock: a minute a phone.
    EXPECT_GE(clock.nowSeconds() - clock.start() / 1000, 120);
    EXPECT_EQ(log.entries, (Log{"f.waiting=\n", "f.waiting=\nGalaxy S23 de Ana\n", "f.offline(false)", "m.error=|",
                                "r.error=", "f.registered",
                                "f.error=|" + (kUnanswered + "iPhone 13 de Ana\n").toStdString()}));
    EXPECT_TRUE(found.isError());
    EXPECT_FALSE(server.isOffLine());
    // The registration went back to an empty form; the approving phone is
    // paired now and can no longer be chosen.
    EXPECT_TRUE(registration.hierarchyItemModel()->identityCode1().isEmpty());
    search(QStringLiteral("CPF"), QStringLiteral("39053344705"));
    EXPECT_FALSE(found_(0, 259).toBool() || found_(0, 257).toBool());
    EXPECT_TRUE(found_(1, 259).toBool());
}

TEST_F(DeviceFlows, FailedSearchesLeaveNoListAndSayWhy)
{
    search(QStringLiteral("CPF"), QStringLiteral("39053344705"));
    ASSERT_EQ(found.rowCount(), 2);

    sandbox().addFault(drop("/requestAuthorization/"));
    log.entries.clear();
    search(QStringLiteral("CPF"), QStringLiteral("39053344705"));
    EXPECT_EQ(log.entries, (Log{"r.error=", "f.found",
                                "r.error=Servidor não alcançado. Verifique se há conexão com a internet.\n",
                                "r.finished"}));
    EXPECT_EQ(found.rowCount(), 0);
    EXPECT_TRUE(server.isOffLine());

    log.entries.clear();
    search(QStringLiteral("CPF"), QStringLiteral("11144477735"));  // valid, but nobody's
    ASSERT_EQ(log.entries.size(), 4u);
    EXPECT_NE(log.entries[2], "r.error=");  // the service's own text
    EXPECT_FALSE(server.isOffLine());
}

TEST_F(DeviceFlows, CancellingOrClosingEndsTheWaitAfterItsCurrentPass)
{
    const std::vector<std::pair<const char*, std::function<void()>>> stops{
        {"cancel", [&] { found.cancelWaiting(); }},
        {"close", [] { QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"); }},
    };
    for (const auto& [name, stop] : stops) {
        SCOPED_TRACE(name);
        search(QStringLiteral("CPF"), QStringLiteral("39053344705"));
        FakeClock paused;
        std::atomic<bool> reached{false};
        std::atomic<bool> resume{false};
        paused.onSleep = [&](std::size_t sleeps) {
            if (sleeps != 2)
                return;
            reached = true;
            while (!resume)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        };
        found.setClock(paused);
        log.entries.clear();
        found.registerWithDevices();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!reached && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        stop();
        resume = true;
        orvane::test::settle();
        ASSERT_TRUE(reached.load()) << "the wait never reached its second pass";

        EXPECT_EQ(paused.sleeps(), (std::vector<int>{6, 5}));
        EXPECT_EQ(log.entries.back(),
                  "f.error=|" + (kUnanswered + "Galaxy S23 de Ana\niPhone 13 de Ana\n").toStdString());
        EXPECT_TRUE(found.isError());
        found.setClock(clock);
    }
}

TEST_F(DeviceFlows, MaintenanceWithOnePhoneAndWithThree)
{
    search(QStringLiteral("CPF"), QStringLiteral("67421058362"), true);
    // Each list change reaches the combo box before the list's own listeners.
    EXPECT_EQ(log.entries, (Log{"m.combo(0)", "m.found", "r.error=", "m.combo(0)", "m.found", "r.finished"}));
    ASSERT_EQ(maintenance.rowCount(), 1);
    // The one phone must approve, so nothing can be removed.
    EXPECT_FALSE(maintenance.getExistDeviceMaintenance());
    EXPECT_FALSE(kept(0, 260).toBool());

    const std::string extra1 = addPhone("mariana", "Tablet Extra 1")["deviceCode"].asString();
    const std::string extra2 = addPhone("mariana", "Tablet Extra 2")["deviceCode"].asString();
    search(QStringLiteral("CPF"), QStringLiteral("67421058362"), true);
    ASSERT_EQ(maintenance.rowCount(), 3);
    EXPECT_TRUE(maintenance.getExistDeviceMaintenance());
    EXPECT_EQ(maintenance.roleNames().value(258), QByteArray("deviceCode"));
    EXPECT_EQ(kept(1, 258).toString().toStdString(), extra1);
    EXPECT_EQ(kept(2, 258).toString().toStdString(), extra2);

    // Choosing the second phone unticks every row and locks exactly it.
    maintenance.updateStatus(2, true);
    maintenance.configureItemIndexCombo(1);
    EXPECT_EQ(std::vector<bool>({kept(0, 260).toBool(), kept(1, 260).toBool(), kept(2, 260).toBool(),
                                 kept(2, 259).toBool()}),
              std::vector<bool>({true, false, true, false}));
    maintenance.updateStatus(1, true);  // ticking the approving phone counts for nothing
    EXPECT_FALSE(maintenance.getExistAnyDeviceMaintenance());
    maintenance.updateStatus(2, true);
    EXPECT_TRUE(maintenance.getExistAnyDeviceMaintenance());

    clock.onSleep = [&](std::size_t) { approvePending("M", extra1); };
    log.entries.clear();
    maintenance.pushMainteanceAuthenticationDevice();
    orvane::test::settle();
    EXPECT_EQ(log.entries, (Log{"m.waiting=\n", "m.waiting=\nTablet Extra 1\n", "m.error=|Concluído",
                                "m.offline(false)", "m.authenticated(true)"}));
    EXPECT_TRUE(maintenance.isError());  // this flow's flag reads the other way

    // A lost connection fails the removal; the approval still serves the
    // next try, which takes only the ticked phone that may go.
    sandbox().addFault(drop("/maintenanceDevices/"));
    log.entries.clear();
    maintenance.maintenanceWithDevices();
    orvane::test::settle();
    maintenance.maintenanceWithDevices();
    orvane::test::settle();
    const std::string offline = "Erro ao tentar efetuar a manutenção dos dispositivos selecionados.\n"
                                "Favor verifique sua conexão de rede e tente novamente.\n";
    EXPECT_EQ(log.entries, (Log{"m.maintenance(2)", "m.maintenance(3)", "m.offline(true)",
                                "m.error=" + offline + "|Concluído", "m.maintenance(1)", "m.maintenance(2)", "m.maintenance(3)", "m.offline(false)"}));
    search(QStringLiteral("CPF"), QStringLiteral("67421058362"), true);
    ASSERT_EQ(maintenance.rowCount(), 2);
    EXPECT_EQ(kept(1, 258).toString().toStdString(), extra1);
    sandbox().remove("/devices/" + extra1);
}
