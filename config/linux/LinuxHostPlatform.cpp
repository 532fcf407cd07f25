#include "config/linux/LinuxHostPlatform.h"

#include "config/TextCodec.h"

#include <boost/algorithm/string/trim.hpp>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <netdb.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <vector>

namespace orvane::model {

namespace {

bool isAbsolute(const std::string& path)
{
    return !path.empty() && path.front() == '/';
}

std::string homeFolder()
{
    if (const char* home = std::getenv("HOME"); home && isAbsolute(home))
        return home;
    if (const passwd* entry = getpwuid(geteuid()); entry && entry->pw_dir && isAbsolute(entry->pw_dir))
        return entry->pw_dir;
    return {};
}

// mkdir -p with owner-only rights for the folders we create ourselves.
bool makeFolders(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode);
    std::string::size_type slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !makeFolders(path.substr(0, slash)))
        return false;
    return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

std::string hostName()
{
    std::vector<char> buffer(HOST_NAME_MAX + 1, '\0');
    if (gethostname(buffer.data(), buffer.size() - 1) != 0)
        return {};
    return buffer.data();
}

std::string unquote(std::string value)
{
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        value = value.substr(1, value.size() - 2);
    return value;
}

} // namespace

std::optional<std::string> LinuxHostPlatform::commonDataFolder() const
{
    if (const char* dirs = std::getenv("XDG_CONFIG_DIRS")) {
        std::string list = dirs;
        std::string::size_type start = 0;
        while (start <= list.size()) {
            std::string::size_type end = list.find(':', start);
            std::string entry = list.substr(start, end == std::string::npos ? std::string::npos : end - start);
            if (isAbsolute(entry))
                return entry;
            if (end == std::string::npos)
                break;
            start = end + 1;
        }
    }
    return std::string("/etc/xdg");
}

std::optional<std::string> LinuxHostPlatform::userDataFolder() const
{
    std::string folder;
    if (const char* data = std::getenv("XDG_DATA_HOME"); data && isAbsolute(data)) {
        folder = data;
    } else {
        std::string home = homeFolder();
        if (home.empty())
            return std::nullopt;
        folder = home + "/.local/share";
    }
    if (!makeFolders(folder))
        return std::nullopt;
    return folder;
}

std::optional<std::wstring> LinuxHostPlatform::computerName() const
{
    std::string name = hostName();
    if (name.empty())
        return std::nullopt;
    return fromUtf8(name.substr(0, name.find('.')));
}

std::optional<std::wstring> LinuxHostPlatform::dnsDomain() const
{
    std::string name = hostName();
    if (name.empty())
        return std::nullopt;
    std::string qualified = name;
    if (name.find('.') == std::string::npos) {
        addrinfo hints {};
        hints.ai_family = AF_UNSPEC;
        hints.ai_flags = AI_CANONNAME;
        addrinfo* found = nullptr;
        if (getaddrinfo(name.c_str(), nullptr, &hints, &found) == 0 && found) {
            if (found->ai_canonname)
                qualified = found->ai_canonname;
            freeaddrinfo(found);
        }
    }
    std::string::size_type dot = qualified.find('.');
    // A host outside any DNS domain has an empty domain, as on a computer that
    // is in no network domain; that is an answer, not a failure.
    return fromUtf8(dot == std::string::npos ? std::string() : qualified.substr(dot + 1));
}

std::optional<std::wstring> LinuxHostPlatform::userName() const
{
    const passwd* entry = getpwuid(geteuid());
    if (!entry || !entry->pw_name || !*entry->pw_name)
        return std::nullopt;
    return fromUtf8(entry->pw_name);
}

std::string LinuxHostPlatform::osReleaseName(const std::string& path)
{
    std::ifstream in(path);
    std::string line, pretty, name;
    while (std::getline(in, line)) {
        boost::algorithm::trim(line);
        if (line.rfind("PRETTY_NAME=", 0) == 0)
            pretty = unquote(line.substr(12));
        else if (line.rfind("NAME=", 0) == 0)
            name = unquote(line.substr(5));
    }
    return pretty.empty() ? name : pretty;
}

std::wstring LinuxHostPlatform::operatingSystemName() const
{
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::string name = osReleaseName(path);
        if (!name.empty())
            return fromUtf8(name);
    }
    utsname system {};
    if (uname(&system) == 0)
        return fromUtf8(std::string(system.sysname) + " " + system.release);
    return L"Linux";
}

} // namespace orvane::model
