#pragma once

#include <optional>
#include <string>

// The jobs an installer or uninstaller runs through the first argument. Each
// does its one job on the local identity and ends the process; they run
// without a window and beside a running instance.
class MaintenanceSwitches {
public:
    enum class Switch { Unpublish, Refresh, ClearCacheMarks, Migrate };

    // Exact, case-sensitive match of the whole argument: "/u", "/i", "/r",
    // "/m". Anything else (including "/U") is no switch.
    static std::optional<Switch> recognise(const std::string& argument);

    // Runs the switch named by the first argument, if any, and gives the
    // process's exit code; no value means the graphical start should follow.
    static std::optional<int> run(int argc, char** argv);

    static int run(Switch job);
};
