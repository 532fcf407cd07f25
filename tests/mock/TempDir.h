#pragma once

#include "tests/mock/EnvironmentScope.h"

#include <string>

namespace orvane::test {

// A fresh folder under the system's temporary folder, removed with all its
// content when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + relative
    std::string file(const std::string& relative) const;

private:
    std::string path_;
};

// Points HOME, XDG_CONFIG_DIRS (the common data folder), XDG_CONFIG_HOME and
// XDG_DATA_HOME (the user's data folder) at subfolders of a fresh temporary
// folder, and puts the old values back when it goes.
class TempEnvironment {
public:
    TempEnvironment();
    ~TempEnvironment();
    TempEnvironment(const TempEnvironment&) = delete;
    TempEnvironment& operator=(const TempEnvironment&) = delete;

    const std::string& root() const { return dir_.path(); }
    std::string home() const { return dir_.file("home"); }
    std::string commonDataFolder() const { return dir_.file("etc-xdg"); }
    std::string userDataFolder() const { return dir_.file("home/.local/share"); }

private:
    TempDir dir_;
    EnvironmentScope home_{"HOME", home().c_str()};
    EnvironmentScope configDirs_{"XDG_CONFIG_DIRS", commonDataFolder().c_str()};
    EnvironmentScope configHome_{"XDG_CONFIG_HOME", (home() + "/.config").c_str()};
    EnvironmentScope dataHome_{"XDG_DATA_HOME", userDataFolder().c_str()};
};

// Writes text to a file, creating nothing but the file.
void writeFile(const std::string& path, const std::string& text);
// Whole content of a file; empty when it cannot be read.
std::string readFile(const std::string& path);

} // namespace orvane::test
