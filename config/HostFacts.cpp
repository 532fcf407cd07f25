#include "config/HostFacts.h"

namespace orvane::model {

const wchar_t* const kUnidentified = L"N\u00EF\u00BF\u00BDo identificado";

std::wstring osDisplayName()
{
    return hostPlatform().operatingSystemName();
}

DesktopInfo hostFacts(const HostPlatform& platform)
{
    DesktopInfo facts;
    facts.installationName = platform.computerName().value_or(kUnidentified);
    facts.operatingSystem = platform.operatingSystemName();
    facts.userName = platform.userName().value_or(kUnidentified);
    facts.domainName = platform.dnsDomain().value_or(kUnidentified);
    return facts;
}

DesktopInfo hostFacts()
{
    return hostFacts(hostPlatform());
}

} // namespace orvane::model
