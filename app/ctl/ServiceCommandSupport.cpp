#include "app/ctl/ServiceCommandSupport.h"

#include "model/catalogue/Hierarchy.h"
#include "model/kestrel/KestrelInstallation.h"
#include "config/TextCodec.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>

#include <algorithm>
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

std::optional<model::IdentityKey> typedIdentity(const model::KestrelInstallation& installation,
                                                const std::string& hierarchyCode, const std::string& typed,
                                                std::ostream& err)
{
    const std::wstring code = wide(hierarchyCode);
    const auto& known = installation.hierarchies.hierarchies;
    const auto hierarchy = std::find_if(known.begin(), known.end(),
                                        [&](const model::Hierarchy& h) { return h.code == code; });
    if (hierarchy == known.end())
        return model::IdentityKey{wide(typed), code};

    std::vector<std::wstring> inputs;
    boost::algorithm::split(inputs, wide(typed), boost::algorithm::is_any_of(L"&"));
    const model::MaskedIdentity masked = hierarchy->applyMasks(inputs);
    if (!masked.accepted) {
        err << "orvanectl: " << narrow(masked.text) << " (" << narrow(hierarchy->displayName) << ")\n";
        return std::nullopt;
    }
    if (!hierarchy->matchesValidators(masked.parts)) {
        err << "orvanectl: \"" << typed << "\" is not a valid identity for " << narrow(hierarchy->displayName)
            << "\n";
        return std::nullopt;
    }
    std::wstring identity = masked.parts.empty() ? std::wstring() : masked.parts.front();
    for (std::size_t i = 1; i < masked.parts.size(); ++i)
        if (!masked.parts[i].empty())
            identity += L"&" + masked.parts[i];
    return model::IdentityKey{identity, code};
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
