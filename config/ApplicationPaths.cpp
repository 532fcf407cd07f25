#include "config/ApplicationPaths.h"

#include "config/HostPlatform.h"

#include <cerrno>
#include <stdexcept>
#include <sys/stat.h>

namespace orvane::model {

namespace {

const char* const kFolder = "Orvane";
const char* const kLegacyFolder = "Kestrel_Desktop";

std::string commonFolder()
{
    auto folder = hostPlatform().commonDataFolder();
    if (!folder)
        throw std::runtime_error("Falha ao carregar diretorio ProgramData");
    return *folder;
}

// The user's data folder plus one level, which is created when missing.
std::string userFolder(const char* name)
{
    auto base = hostPlatform().userDataFolder();
    if (!base)
        throw std::runtime_error("Falha ao carregar diretorio AppData\\Local");
    std::string folder = *base + "/" + name;
    // Only a failure other than "already exists" counts here, whatever stands
    // in the folder's place: a file there makes the later opening of the
    // file inside fail instead, as a missing file does.
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        throw std::runtime_error("Error criando diretório");
    return folder;
}

} // namespace

std::string configFilePath()
{
    return commonFolder() + "/" + kFolder + "/applicationConfig-2.properties";
}

std::string legacyConfigFilePath()
{
    return commonFolder() + "/" + kLegacyFolder + "/applicationConfig.properties";
}

std::string identityFilePath()
{
    return userFolder(kFolder) + "/identity.xml";
}

std::string legacyIdentityFilePath()
{
    return userFolder(kLegacyFolder) + "/identity.xml";
}

std::string proxyFilePath()
{
    return userFolder(kFolder) + "/proxy.properties";
}

std::string legacyProxyFilePath()
{
    return userFolder(kLegacyFolder) + "/proxy.properties";
}

std::string userOrvaneFolder()
{
    return userFolder(kFolder);
}

} // namespace orvane::model
