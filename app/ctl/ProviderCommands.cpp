#include "app/ctl/ProviderCommands.h"

#include "app/ctl/CommandTable.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

extern char** environ;

namespace orvane::ctl {

namespace {

namespace fs = std::filesystem;

// The name under which the module stands in the NSS database.
const char* const kNssModuleName = "Orvane Cryptographic Provider";

std::string home()
{
    const char* value = std::getenv("HOME");
    return value ? value : "";
}

std::string p11KitFile()
{
    return home() + "/.config/pkcs11/modules/orvane.module";
}

std::string nssFolder()
{
    return home() + "/.pki/nssdb";
}

// Runs a program (found on PATH) to its end; its standard output and error
// come back in `output`. -1 when it could not be started.
int runTool(const std::vector<std::string>& argv, std::string& output)
{
    int pipeEnds[2];
    if (::pipe(pipeEnds) != 0)
        return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
    std::vector<char*> arguments;
    for (const std::string& argument : argv)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    pid_t child = -1;
    const int spawned = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeEnds[1]);
    output.clear();
    std::array<char, 4096> buffer;
    ssize_t got = 0;
    while ((got = ::read(pipeEnds[0], buffer.data(), buffer.size())) > 0)
        output.append(buffer.data(), static_cast<std::size_t>(got));
    ::close(pipeEnds[0]);
    if (spawned != 0)
        return -1;
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

// The installed layout first (bin/ beside lib/orvane/), then the module
// that this build made.
std::string defaultModulePath()
{
    std::error_code error;
    const fs::path executable = fs::read_symlink("/proc/self/exe", error);
    if (!error) {
        const fs::path installed = executable.parent_path().parent_path() / "lib/orvane/liborvane-pkcs11.so";
        if (fs::exists(installed, error))
            return installed.string();
    }
    return ORVANE_PKCS11_BUILD_PATH;
}

// The module registered in the NSS database, or empty.
std::string nssRegistration()
{
    std::string output;
    if (!fs::exists(nssFolder())
        || runTool({"modutil", "-dbdir", "sql:" + nssFolder(), "-list", kNssModuleName}, output) != 0)
        return {};
    std::istringstream lines(output);
    std::string line;
    const std::string key = "Library file:";
    while (std::getline(lines, line)) {
        const std::size_t at = line.find(key);
        if (at == std::string::npos)
            continue;
        std::string path = line.substr(at + key.size());
        path.erase(0, path.find_first_not_of(' '));
        return path;
    }
    return {};
}

// The module named in the p11-kit file, or empty.
std::string p11KitRegistration()
{
    std::ifstream file(p11KitFile());
    std::string line;
    while (std::getline(file, line))
        if (line.rfind("module:", 0) == 0) {
            std::string path = line.substr(7);
            path.erase(0, path.find_first_not_of(' '));
            return path;
        }
    return {};
}

} // namespace

int providerInstall(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    std::string module = defaultModulePath();
    if (arguments.size() == 2 && arguments[0] == "--module") {
        module = fs::absolute(arguments[1]).string();
    } else if (!arguments.empty()) {
        err << "orvanectl: usage: provider install [--module PATH]\n";
        return exitUsage;
    }
    if (!fs::is_regular_file(module)) {
        err << "orvanectl: no PKCS#11 module at " << module << "\n";
        return exitFailure;
    }

    std::error_code error;
    fs::create_directories(fs::path(p11KitFile()).parent_path(), error);
    std::ofstream file(p11KitFile(), std::ios::trunc);
    file << "# Orvane: the keys of this computer's phones and cloud accounts\nmodule: " << module << "\n";
    file.close();
    if (!file) {
        err << "orvanectl: cannot write " << p11KitFile() << "\n";
        return exitFailure;
    }
    out << "p11-kit\t" << module << "\n";

    std::string output;
    if (!fs::exists(nssFolder() + "/cert9.db")) {
        fs::create_directories(nssFolder(), error);
        ::chmod(nssFolder().c_str(), 0700);
        if (runTool({"certutil", "-N", "-d", "sql:" + nssFolder(), "--empty-password"}, output) != 0) {
            err << "orvanectl: cannot make the NSS database " << nssFolder() << " (certutil of libnss3-tools): "
                << output << "\n";
            return exitFailure;
        }
    }
    // Replacing an earlier registration keeps the path up to date.
    if (!nssRegistration().empty())
        runTool({"modutil", "-dbdir", "sql:" + nssFolder(), "-delete", kNssModuleName, "-force"}, output);
    if (runTool({"modutil", "-dbdir", "sql:" + nssFolder(), "-add", kNssModuleName, "-libfile", module, "-force"},
                output)
        != 0) {
        err << "orvanectl: modutil (libnss3-tools) could not register the module in " << nssFolder() << ": "
            << output << "\n";
        return exitFailure;
    }
    out << "nss\t" << module << "\n";
    return exitSuccess;
}

int providerUninstall(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (!arguments.empty()) {
        err << "orvanectl: usage: provider uninstall\n";
        return exitUsage;
    }
    std::error_code error;
    fs::remove(p11KitFile(), error);
    if (error) {
        err << "orvanectl: cannot remove " << p11KitFile() << ": " << error.message() << "\n";
        return exitFailure;
    }
    out << "p11-kit\tnot registered\n";
    if (!nssRegistration().empty()) {
        std::string output;
        if (runTool({"modutil", "-dbdir", "sql:" + nssFolder(), "-delete", kNssModuleName, "-force"}, output) != 0) {
            err << "orvanectl: modutil could not remove the module from " << nssFolder() << ": " << output << "\n";
            return exitFailure;
        }
    }
    out << "nss\tnot registered\n";
    return exitSuccess;
}

int providerStatus(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (!arguments.empty()) {
        err << "orvanectl: usage: provider status\n";
        return exitUsage;
    }
    const std::string p11Kit = p11KitRegistration();
    const std::string nss = nssRegistration();
    out << "p11-kit\t" << (p11Kit.empty() ? "not registered" : p11Kit) << "\n";
    out << "nss\t" << (nss.empty() ? "not registered" : nss) << "\n";
    return exitSuccess;
}

} // namespace orvane::ctl
