#pragma once

// The windowed face of the program: one instance per session, the object
// graph of the presentation models published to the screens, and the event
// loop.
class ObjectGraph;
class QQmlApplicationEngine;
class QQuickWindow;

class Application {
public:
    // The program's own version, shown in the About box.
    static const wchar_t* const kVersion;

    static int run(int argc, char** argv);

    // Publishes the graph's models to the engine and loads the root
    // document: the window as the program shows it. Null when the document
    // did not load (Qt has said why). Support tools that drive the window
    // load it through here too, so they see what a user sees.
    static QQuickWindow* loadWindow(QQmlApplicationEngine& engine, ObjectGraph& graph);
};
