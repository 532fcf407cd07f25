// Writes one picture per page and state of the window into a folder, against
// the sandbox services, from a first start in empty folders: the wizard
// (with its error page, in a first window whose registration fails), the
// addition of phones and cloud accounts with their outcomes, the list, the
// unregistration, the settings, the About box and the offline banner.
//
//   orvane_tour DIR      (run by scripts/screenshot --tour DIR, under Xvfb)
#include "app/Application.h"
#include "app/ObjectGraph.h"
#include "app/tour/WindowDriver.h"
#include "config/ApplicationPaths.h"
#include "tests/mock/SandboxServices.h"
#include "tests/mock/TempDir.h"

#include <QApplication>
#include <QDir>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <iostream>
#include <memory>
#include <stdexcept>

namespace {

using orvane::test::SandboxServices;

class Tour {
public:
    Tour(SandboxServices& sandbox, ObjectGraph& graph, QString folder)
        : sandbox_(sandbox), graph_(graph), folder_(std::move(folder)) {}

    void openWindow()
    {
        engine_ = std::make_unique<QQmlApplicationEngine>();
        QQuickWindow* window = Application::loadWindow(*engine_, graph_);
        need(window && QTest::qWaitForWindowExposed(window), "the window did not open");
        driver_ = std::make_unique<WindowDriver>(window, 60000);
    }
    void closeWindow()
    {
        driver_.reset();
        engine_.reset();
    }

    const WindowDriver& d() const { return *driver_; }

    void need(bool ok, const std::string& what) const
    {
        if (ok)
            return;
        // What the window showed when the tour lost its way.
        if (driver_)
            driver_->grab(folder_ + "/failed.png", 0);
        throw std::runtime_error(what);
    }
    void click(const QString& name, QQuickItem* within = nullptr) const
    {
        need(d().click(name, within), "no " + name.toStdString() + " to click");
    }
    void type(const QString& name, const QString& text) const
    {
        need(d().type(name, text), "no field " + name.toStdString());
    }
    void ready(const QString& name) const { need(d().waitReady(name) != nullptr, name.toStdString() + " did not show"); }
    void clickAction(const QString& name) const
    {
        QQuickItem* action = d().waitReady(name);
        need(action && d().click(action->childItems().first()), "no action " + name.toStdString());
    }
    void shot(const QString& name) const
    {
        const QString path = folder_ + "/" + name + ".png";
        need(d().grab(path), "could not write " + path.toStdString());
        std::cout << path.toStdString() << std::endl;
    }
    // Answers the pending requests of one kind; true once one was answered.
    bool answer(const std::string& kind, bool approve) const
    {
        bool answered = false;
        for (const Json::Value& request : sandbox_.requests("pending", kind)) {
            if (approve)
                sandbox_.approve(request["id"].asString());
            else
                sandbox_.deny(request["id"].asString());
            answered = true;
        }
        return answered;
    }
    QQuickItem* section(const QString& name) const
    {
        QQuickItem* label = d().findWithText("sectionName", name);
        return label ? label->parentItem() : nullptr;
    }
    void searchPhones(const QString& identity) const
    {
        clickAction("addCertificateAction");
        click("kestrelCard");
        type("identityCode1", identity);
    }
    void harrierLogin(const QString& password) const
    {
        clickAction("addCertificateAction");
        click("harrierCard");
        type("harrierEmail", "ana.lima@exemplo.com.br");
        type("harrierSubdomain", "cartorio-central");
        type("harrierPassword", password);
    }

    void wizardError()
    {
        openWindow();
        shot("01-wizard-0-requirements");
        click("continueButton");
        ready("registerButton");
        shot("02-wizard-1-computer");
        // A refusal: one report, so the wizard moves on to its error page
        // (a failure to reach the service reports twice and passes it).
        Json::Value fault;
        fault["path"] = "/create";
        fault["status"] = 200;
        fault["body"]["status"] = "false";
        fault["body"]["message"] = "Chave pública recusada pelo serviço";
        sandbox_.addFault(fault);
        click("registerButton");
        ready("registrationError");
        shot("05-wizard-3-error");
        sandbox_.clearFaults();
        closeWindow();
    }

    void wizard()
    {
        openWindow();
        Json::Value slow;
        slow["path"] = "/create";
        slow["delay_ms"] = 3000;
        sandbox_.addFault(slow);
        click("continueButton");
        click("registerButton");
        ready("registrationPage2");
        shot("03-wizard-2-waiting");
        ready("showCertificatesButton");
        shot("04-wizard-2-done");
        click("showCertificatesButton");
        ready("kestrelCard");
        shot("06-picker");
    }

    void phones()
    {
        click("kestrelCard");
        type("identityCode1", "39053344705");
        shot("07-kestrel-1-identity");
        click("searchButton");
        ready("deviceCheck1");
        for (const char* box : {"deviceCheck0", "deviceCheck1"})
            if (!d().find(box)->property("checked").toBool())
                click(box);
        shot("08-kestrel-2-devices");
        click("authorizeButton");
        ready("authorizationWaitView");
        need(d().waitFor([&] { return !sandbox_.requests("pending", "A").empty(); }), "no phone was asked");
        shot("09-kestrel-3-waiting");
        need(d().waitFor([&] {
                 answer("A", true);
                 return d().find("authorizationDone") != nullptr;
             }),
             "the approvals did not end");
        shot("10-kestrel-3-approved");
        click("authorizationDone");

        // Carlos's phone says no.
        searchPhones("52871639400");
        click("searchButton");
        ready("deviceCheck0");
        if (!d().find("deviceCheck0")->property("checked").toBool())
            click("deviceCheck0");
        click("authorizeButton");
        need(d().waitFor([&] { return answer("A", false); }), "no phone was asked");
        // A refusal counts as no answer: the wait would last its minute.
        click("cancelWaitButton");
        need(d().waitFor([&] { return d().find("authorizationDone") || d().find("authorizationErrorClose"); }),
             "the refusal did not show");
        shot("11-kestrel-3-refused");
        click(d().find("authorizationDone") ? "authorizationDone" : "authorizationErrorClose");
    }

    void cloud()
    {
        harrierLogin("senha-errada");
        click("authorizeAccessButton");
        ready("harrierDone");
        shot("13-harrier-2-failure");
        click("harrierDone");

        harrierLogin("Sandbox#2024");
        shot("12-harrier-1-login");
        click("authorizeAccessButton");
        ready("harrierDone");
        shot("14-harrier-2-success");
        click("harrierDone");
    }

    void list()
    {
        need(d().waitFor([&] { return section("harrier de ") && section("Galaxy S23") && section("iPhone 13"); }),
             "the list does not show the phones and the account");
        QQuickItem* galaxy = section("Galaxy S23");
        d().hover(galaxy);
        need(d().waitFor([&] { return d().find("sectionControls", galaxy)->opacity() == 1.0; }), "no hover controls");
        shot("15-list-hover");

        QQuickItem* iphone = section("iPhone 13");
        d().hover(iphone);
        click("unregisterGroupButton", iphone);
        ready("unregisterButton");
        shot("16-unregister-1-confirm");
        click("unregisterButton");
        ready("unregisterDone");
        shot("17-unregister-2-done");
        click("unregisterDone");
    }

    void settings()
    {
        clickAction("settingsAction");
        type("identityCode1", "39053344705");
        shot("18-maintenance-1-identity");
        click("listDevicesButton");
        ready("chooseDeviceBack");
        shot("19-maintenance-2-choose");
        click("confirmAuthenticatingDevice");
        ready("approvalWaitView");
        need(d().waitFor([&] { return !sandbox_.requests("pending", "M").empty(); }), "no phone was asked");
        shot("20-maintenance-3-waiting");
        need(d().waitFor([&] {
                 answer("M", true);
                 return d().find("removalDevicesList") != nullptr;
             }),
             "the removal list did not show");
        shot("21-maintenance-4-list");
        click("removalBack");

        QQuickItem* tabs = d().waitReady("maintenanceTabs");
        need(tabs != nullptr, "no tabs");
        tabs->setProperty("currentIndex", 1);
        ready("proxySave");
        shot("22-proxy");
        click("maintenanceClose");
    }

    void headerStates()
    {
        QQuickItem* info = d().waitReady("informationIcon");
        need(d().click(info), "no information icon");
        ready("aboutClose");
        shot("23-about");
        click("aboutClose");

        Json::Value drop;
        drop["path"] = "/listCertificates/";
        drop["drop"] = true;
        drop["count"] = 0;
        sandbox_.addFault(drop);
        clickAction("reloadAction");
        ready("offlineBanner");
        shot("24-offline");
        sandbox_.clearFaults();
    }

private:
    SandboxServices& sandbox_;
    ObjectGraph& graph_;
    QString folder_;
    std::unique_ptr<QQmlApplicationEngine> engine_;
    std::unique_ptr<WindowDriver> driver_;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: orvane_tour DIR" << std::endl;
        return 2;
    }
    const QString folder = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    QDir().mkpath(folder);
    orvane::test::TempEnvironment isolation;
    try {
        SandboxServices sandbox(orvane::model::configFilePath());
        QApplication application(argc, argv);
        ObjectGraph graph;
        graph.start(Application::kVersion);
        Tour tour(sandbox, graph, folder);
        tour.wizardError();
        tour.wizard();
        tour.phones();
        tour.cloud();
        tour.list();
        tour.settings();
        tour.headerStates();
        tour.closeWindow();
    } catch (const std::exception& e) {
        std::cerr << "tour stopped: " << e.what() << std::endl;
        return 1;
    }
    return 0;
}
