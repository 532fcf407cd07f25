#pragma once

#include "tests/mock/TempDir.h"

#include <map>
#include <string>

namespace orvane::test {

// The environment for running the built agent as a child in isolation: its
// own XDG folders, HOME and temporary folder (which also keeps its
// single-instance block apart from any other agent), and a window system
// that needs no display.
inline std::map<std::string, std::string> agentEnvironment(const TempEnvironment& env)
{
    return {
        {"HOME", env.home()},
        {"XDG_CONFIG_DIRS", env.commonDataFolder()},
        {"XDG_DATA_HOME", env.userDataFolder()},
        {"XDG_RUNTIME_DIR", env.root()},
        {"TMPDIR", env.root()},
        {"QT_QPA_PLATFORM", "offscreen"},
        {"QT_QUICK_BACKEND", "software"},
    };
}

} // namespace orvane::test
