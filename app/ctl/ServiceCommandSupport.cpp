#include "app/ctl/ServiceCommandSupport.h"

#include "model/config/TextCodec.h"

#include <iostream>

namespace orvane::ctl {

int exitStatusOf(std::int32_t status, const std::string& message)
{
    if (status == 1)
        return exitOffline;
    return message.empty() ? 0 : exitRefused;
}

int report(std::ostream& err, std::int32_t status, const std::string& message)
{
    const int exitStatus = exitStatusOf(status, message);
    if (exitStatus == exitOffline)
        err << "orvanectl: service unreachable" << (message.empty() ? "" : ": " + message) << "\n";
    else if (exitStatus == exitRefused)
        err << "orvanectl: refused: " << message << "\n";
    return exitStatus;
}

AnswersToStandardError::AnswersToStandardError(std::ostream& out)
    : out_(out.rdbuf())
    , savedCout_(std::cout.rdbuf(std::cerr.rdbuf()))
{
}

AnswersToStandardError::~AnswersToStandardError()
{
    out_.flush();
    std::cout.rdbuf(savedCout_);
}

std::unique_ptr<model::Orvane> loadInstalledIdentity(std::ostream& err)
{
    if (!model::Orvane::hasInstallation()) {
        err << "orvanectl: this computer is not enrolled at the configured Kestrel address "
               "(run 'orvanectl enrol')\n";
        return nullptr;
    }
    return model::Orvane::load();
}

std::string narrow(const std::wstring& text) { return model::toUtf8(text); }
std::wstring wide(const std::string& text) { return model::fromUtf8(text); }

std::string readSecretLine(std::istream& in)
{
    std::string line;
    std::getline(in, line);
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

} // namespace orvane::ctl
