#pragma once

// The windowed face of the program: one instance per session, the object
// graph of the presentation models published to the screens, and the event
// loop.
class Application {
public:
    // The program's own version, shown in the About box.
    static const wchar_t* const kVersion;

    static int run(int argc, char** argv);
};
