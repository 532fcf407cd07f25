// A properties file (service configuration, proxy settings): parsed, and
// its text parsed again to the same settings and lines.
#include "config/Properties.h"

#include <cstdint>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using orvane::model::Properties;
    Properties properties;
    try {
        properties = Properties::parse(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const std::out_of_range&) {
        return 0;  // a line starting with "=": the file is refused
    }
    const Properties again = Properties::parse(properties.text());
    if (again.lines() != properties.lines() || again.entries() != properties.entries())
        __builtin_trap();
    Properties merged = again;
    merged.merge(properties);
    return 0;
}
