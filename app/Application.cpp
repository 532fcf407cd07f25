#include "app/Application.h"

#include "app/FontFamilies.h"
#include "app/ObjectGraph.h"
#include "app/ProxyCredentialDialog.h"
#include "app/SingleInstance.h"
#include "app/WindowActivator.h"

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QUrl>
#include <QWindow>

const wchar_t* const Application::kVersion = L"2.1.4.3";

int Application::run(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setAttribute(Qt::AA_UseSoftwareOpenGL, true);
    ProxyCredentialDialog::install();   // proxy credentials are asked in a dialog, not on a terminal

    SingleInstance instance;
    if (!instance.acquire()) {
        WindowActivator::forThisPlatform()->activate(instance.publishedWindow());
        return 1;
    }

    // The models, their connections, and the identity handed to them. The
    // graph outlives the engine that shows it.
    ObjectGraph graph;
    graph.start(kVersion);
    FontFamilies::registerSubstitutes();

    QQmlApplicationEngine engine;
    graph.publish(engine.rootContext());
    engine.load(QUrl(QStringLiteral("qrc:/main.qml")));

    const QWindowList windows = QGuiApplication::allWindows();
    if (windows.isEmpty())
        return 1;  // the root document did not load; Qt has said why
    instance.publishWindow(static_cast<std::uint64_t>(windows.first()->winId()));

    return QApplication::exec();
}
