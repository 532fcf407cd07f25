// The registration's forms and flows down to the sandbox: the hierarchy
// forms, the phones' approval of this computer and their removal.

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
#include <QSignalSpy>

#include <algorithm>
#include <functional>

using namespace orvane::test;

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
        const auto errorOf = [](auto* model) {
            return [model] { return model->errorMessage() + QLatin1Char('|') + model->errorListDevices(); };
        };
        log.watch(&registration, &RegistrationModel::requestRegistrationFinished, "r.finished");
        log.watch(&registration, &RegistrationModel::requestMaintenanceFinished, "r.finished");
        log.watchWith(&registration, &RegistrationModel::errorChanged, "r.error",
                      [this] { return registration.errorMessage(); });
        log.watch(&found, &FoundDevicesModel::devicesFound, "f.found");
        log.watch(&found, &FoundDevicesModel::devicesRegistered, "f.registered");
        log.watchWith(&found, &FoundDevicesModel::confirmDevice, "f.waiting", [this] { return found.listWaiting(); });
        log.watchWith(&found, &FoundDevicesModel::errorChanged, "f.error", errorOf(&found));
        log.watch(&found, &FoundDevicesModel::offLineServer, "f.offline");
        log.watch(&maintenance, &MaintenanceDevicesModel::devicesFound, "m.found");
        log.watch(&maintenance, &MaintenanceDevicesModel::configureIndexCombo, "m.combo");
        log.watchWith(&maintenance, &MaintenanceDevicesModel::confirmDevice, "m.waiting",
                      [this] { return maintenance.listWaiting(); });
        log.watchWith(&maintenance, &MaintenanceDevicesModel::errorChanged, "m.error", errorOf(&maintenance));
        log.watch(&maintenance, &MaintenanceDevicesModel::pushAuthenticationDeviceFinished, "m.authenticated");
        log.watch(&maintenance, &MaintenanceDevicesModel::maintenanceDevices, "m.maintenance");
        log.watch(&maintenance, &MaintenanceDevicesModel::offLineServer, "m.offline");
    }

    HierarchyItemModel* item(const QString& code)
    {
        for (int row = 0; row < hierarchies.rowCount(); ++row)
            if (hierarchies.at(static_cast<uint>(row))->code() == code)
                return hierarchies.at(static_cast<uint>(row));
        return nullptr;
    }
    void search(const char* number, bool forMaintenance = false)
    {
        registration.setHierarchyItemModel(item(QStringLiteral("CPF")));
        registration.hierarchyItemModel()->setIdentityCode1(QString::fromLatin1(number));
        if (forMaintenance)
            registration.requestMaintenanceDevices();
        else
            registration.requestRegistration();
        orvane::test::settle();
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
using HierarchyModels = DeviceFlows;

} // namespace

TEST_F(HierarchyModels, EachKeystrokeRerunsMasksAndValidity)
{
    HierarchyListModel empty(nullptr);
    EXPECT_EQ(empty.at(0), nullptr);  // no aggregate yet: no rows, no crash
    ASSERT_EQ(hierarchies.rowCount(), 5);
    const QModelIndex second = hierarchies.index(1);
    EXPECT_EQ(hierarchies.data(second, hierarchies.roleNames().key("displayName")).toString(),
              QStringLiteral("Pessoa Jurídica (CNPJ)"));
    EXPECT_EQ(hierarchies.data(second, hierarchies.roleNames().key("code")).toString(), QStringLiteral("CNPJ"));

    // Only the hierarchy's fields show.
    HierarchyItemModel* cpf = item(QStringLiteral("CPF"));
    HierarchyItemModel* oab = item(QStringLiteral("OAB"));
    ASSERT_TRUE(cpf && oab);
    EXPECT_TRUE(oab->displayIdentityCode2() && !oab->displayIdentityCode3() && !cpf->displayIdentityCode2());

    QSignalSpy masked(cpf, &HierarchyItemModel::resultMaskChanged);
    const QString typed = QStringLiteral("390.533.447-05");
    std::vector<bool> valid;
    for (int n = 1; n <= typed.size(); ++n) {
        cpf->setIdentityCode1(typed.left(n));
        valid.push_back(cpf->property("validIdentity").toBool());
    }
    EXPECT_EQ(masked.count(), typed.size());  // one announcement per keystroke
    EXPECT_EQ(std::count(valid.begin(), valid.end(), true), 1);
    EXPECT_TRUE(valid.back());
    EXPECT_TRUE(cpf->maskSuccess());
    EXPECT_EQ(cpf->resultMask(), typed);
    EXPECT_EQ(cpf->identity().identity, L"39053344705");

    cpf->setIdentityCode1(typed);  // no change, no announcement
    EXPECT_EQ(masked.count(), typed.size());
    cpf->setIdentityCode1(QStringLiteral("39x"));
    EXPECT_FALSE(cpf->maskSuccess());
    EXPECT_FALSE(cpf->isValidIdentity());

    // Two fields are joined by "&", as the service looks them up; both must
    // be valid.
    oab->setIdentityCode1(QStringLiteral("pr"));
    EXPECT_FALSE(oab->isValidIdentity());
    oab->setIdentityCode2(QStringLiteral("48213"));
    EXPECT_TRUE(oab->isValidIdentity());
    EXPECT_EQ(oab->identity().identity.substr(2), L"&48213");

    // Resetting the list empties every form and tells the views.
    QSignalSpy changed(&hierarchies, &HierarchyListModel::dataChanged);
    hierarchies.resetThisModel();
    EXPECT_EQ(changed.count(), 1);
    for (HierarchyItemModel* form : {cpf, oab}) {
        EXPECT_TRUE(form->identityCode1().isEmpty() && form->identityCode2().isEmpty());
        EXPECT_FALSE(form->isValidIdentity());
        EXPECT_EQ(form->identity().identity, L"");
    }
}

// The wait ends on a cancel, or when the program closes, after one more
// pass (the service's schedule and deadline are the protocol's); an
// unreached search leaves no list.
TEST_F(DeviceFlows, TwoPhonesOneApprovesTheOtherIsCancelledOrClosedOn)
{
    search("39053344705");
    EXPECT_EQ(log.entries, (Log{"r.error=", "f.found", "r.finished"}));
    ASSERT_EQ(found.rowCount(), 2);
    EXPECT_EQ(found_(0, 258).toString(), QStringLiteral("Galaxy S23 de Ana"));
    EXPECT_TRUE(found_(0, 257).toBool() && found_(1, 257).toBool() && found_(1, 259).toBool());

    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 1)
            sandbox().answerPending("A", sandbox().deviceCodesOf("ana").at(0));
        if (sleeps == 2)
            found.cancelWaiting();
    };
    log.entries.clear();
    found.registerWithDevices();
    orvane::test::settle();
    EXPECT_EQ(clock.sleeps().size(), 2u);
    EXPECT_EQ(log.entries, (Log{"f.waiting=\n", "f.waiting=\nGalaxy S23 de Ana\n", "f.offline(false)", "m.error=|",
                                "r.error=", "f.registered",
                                "f.error=|" + (kUnanswered + "iPhone 13 de Ana\n").toStdString()}));
    EXPECT_TRUE(found.isError());
    // The registration went back to an empty form; the approving phone is
    // paired now and can no longer be chosen.
    EXPECT_TRUE(registration.hierarchyItemModel()->identityCode1().isEmpty());
    search("39053344705");
    EXPECT_FALSE(found_(0, 259).toBool() || found_(0, 257).toBool());
    EXPECT_TRUE(found_(1, 259).toBool());

    sandbox().addFault(drop("/requestAuthorization/"));
    log.entries.clear();
    search("39053344705");
    EXPECT_EQ(log.entries, (Log{"r.error=", "f.found",
                                "r.error=Servidor não alcançado. Verifique se há conexão com a internet.\n",
                                "r.finished"}));
    EXPECT_EQ(found.rowCount(), 0);
    EXPECT_TRUE(server.isOffLine());

    // Last, as its flag stays raised: closing the program.
    search("39053344705");
    FakeClock closing;
    closing.onSleep = [](std::size_t sleeps) {
        if (sleeps == 2)
            QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit", Qt::BlockingQueuedConnection);
    };
    found.setClock(closing);
    found.registerWithDevices();
    orvane::test::settle();
    EXPECT_EQ(closing.sleeps().size(), 2u);
    EXPECT_EQ(log.entries.back(), "f.error=|" + (kUnanswered + "iPhone 13 de Ana\n").toStdString());
    found.setClock(clock);
}

TEST_F(DeviceFlows, MaintenanceWithOnePhoneAndWithThree)
{
    search("67421058362", true);
    // Each list change reaches the combo box before the list's own listeners.
    EXPECT_EQ(log.entries, (Log{"m.combo(0)", "m.found", "r.error=", "m.combo(0)", "m.found", "r.finished"}));
    ASSERT_EQ(maintenance.rowCount(), 1);
    // The one phone must approve, so nothing can be removed.
    EXPECT_FALSE(maintenance.getExistDeviceMaintenance());
    EXPECT_FALSE(kept(0, 260).toBool());

    const std::string extra1 = addPhone("mariana", "Tablet Extra 1")["deviceCode"].asString();
    addPhone("mariana", "Tablet Extra 2");
    search("67421058362", true);
    ASSERT_EQ(maintenance.rowCount(), 3);
    EXPECT_TRUE(maintenance.getExistDeviceMaintenance());
    EXPECT_EQ(kept(1, maintenance.roleNames().key("deviceCode")).toString().toStdString(), extra1);

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

    clock.onSleep = [&](std::size_t) { sandbox().answerPending("M", extra1); };
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
                                "m.error=" + offline + "|Concluído", "m.maintenance(1)", "m.maintenance(2)",
                                "m.maintenance(3)", "m.offline(false)"}));
    search("67421058362", true);
    ASSERT_EQ(maintenance.rowCount(), 2);
    EXPECT_EQ(kept(1, 258).toString().toStdString(), extra1);
    sandbox().remove("/devices/" + extra1);
}
