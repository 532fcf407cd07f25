#include "app/Application.h"

#include "app/FontFamilies.h"
#include "app/ObjectGraph.h"
#include "app/ProxyCredentialDialog.h"
#include "app/SingleInstance.h"
#include "app/WindowActivator.h"

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QUrl>

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

    QQmlApplicationEngine engine;
    QQuickWindow* window = loadWindow(engine, graph);
    if (!window)
        return 1;
    instance.publishWindow(static_cast<std::uint64_t>(window->winId()));

    return QApplication::exec();
}

QQuickWindow* Application::loadWindow(QQmlApplicationEngine& engine, ObjectGraph& graph)
{
    FontFamilies::registerSubstitutes();
    graph.publish(engine.rootContext());
    engine.load(QUrl(QStringLiteral("qrc:/main.qml")));
    const QList<QObject*> roots = engine.rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
}
