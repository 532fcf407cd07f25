// The screen tests with the shell's own object graph, in throw-away folders
// where no identity exists, so every model starts without an aggregate.
#include "app/FontFamilies.h"
#include "app/ObjectGraph.h"
#include "tests/mock/TempDir.h"

#include <QObject>
#include <QQmlEngine>
#include <QtQuickTest>

class ScreenTestSetup : public QObject {
    Q_OBJECT

public slots:
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        FontFamilies::registerSubstitutes();
        graph_.start(L"2.1.4.3");
        graph_.proxyConfigModel.cancelProxyConfig();
        graph_.publish(engine->rootContext());
    }

private:
    orvane::test::TempEnvironment isolation_;
    ObjectGraph graph_;
};

QUICK_TEST_MAIN_WITH_SETUP(orvane_screens, ScreenTestSetup)

#include "QmlTestMain.moc"
