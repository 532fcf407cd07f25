#include "config/HostPlatform.h"

#include "config/linux/LinuxHostPlatform.h"

namespace orvane::model {

const HostPlatform& hostPlatform()
{
    static const LinuxHostPlatform platform;
    return platform;
}

} // namespace orvane::model
