#include "tests/mock/SandboxEnvironment.h"

#include "config/ApplicationPaths.h"
#include "config/TextCodec.h"

#include <stdexcept>

namespace orvane::test {

namespace {

SandboxServices* theSandbox = nullptr;

} // namespace

SandboxEnvironment::SandboxEnvironment(std::string pkiCache) : pkiCache_(std::move(pkiCache)) {}

void SandboxEnvironment::SetUp()
{
    // The agent reads the configuration once per process, so the sandbox
    // must be in place before any case asks for an address.
    services_ = std::make_unique<SandboxServices>(model::configFilePath(), std::vector<std::string>{}, pkiCache_);
    theSandbox = services_.get();
}

void SandboxEnvironment::TearDown()
{
    theSandbox = nullptr;
    services_.reset();
}

SandboxServices& SandboxEnvironment::sandbox()
{
    if (!theSandbox)
        throw std::runtime_error("the sandbox is not running");
    return *theSandbox;
}

model::DesktopInfo testDesktop(const std::wstring& name)
{
    return {name, L"Debian GNU/Linux 12 (bookworm)", L"tester", L"laboratorio.local"};
}

std::unique_ptr<model::Orvane> enrolComputer()
{
    model::CreateInstallationResult result = model::Orvane::install(testDesktop());
    if (!result.aggregate || result.status != 0 || !result.message.empty())
        throw std::runtime_error("enrolment failed: " + result.message);
    return std::move(result.aggregate);
}

void pairPhone(const model::Orvane& identity, const std::string& deviceCode)
{
    Json::Value body(Json::objectValue);
    body["deviceCode"] = deviceCode;
    SandboxServices& services = SandboxEnvironment::sandbox();
    services.post("/installations/" + model::toUtf8(identity.kestrelInstallations.at(0).installationCode)
                      + "/devices",
                  body);
    if (services.lastStatus() / 100 != 2)
        throw std::runtime_error("sandbox refused to pair " + deviceCode);
}

} // namespace orvane::test
