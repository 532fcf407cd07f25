// Runs the screen tests with the same context objects the shell publishes,
// inside throw-away XDG folders.
#include "app/FontFamilies.h"
#include "tests/mock/TempDir.h"
#include "ui/models/InstallationModel.h"
#include "ui/models/VerificationConnectionServer.h"
#include "ui/models/VersionVerifier.h"

#include <QObject>
#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

#include <memory>

class ScreenTestSetup : public QObject {
    Q_OBJECT

public slots:
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        FontFamilies::registerSubstitutes();
        versionVerifier_.setCurrentVersion(L"2.1.4.3");
        QQmlContext* context = engine->rootContext();
        context->setContextProperty(QStringLiteral("versionVerifier"), &versionVerifier_);
        context->setContextProperty(QStringLiteral("installationModel"), installationModel_.get());
        context->setContextProperty(QStringLiteral("verificationConnectionServer"), &server_);
    }

private:
    orvane::test::TempEnvironment isolation_;
    VersionVerifier versionVerifier_;
    VerificationConnectionServer server_;
    std::unique_ptr<InstallationModel> installationModel_ = std::make_unique<InstallationModel>();
};

QUICK_TEST_MAIN_WITH_SETUP(orvane_screens, ScreenTestSetup)

#include "QmlTestMain.moc"
