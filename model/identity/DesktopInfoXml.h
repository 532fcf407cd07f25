#pragma once

#include "config/DesktopInfo.h"

#include <pugixml.hpp>

namespace orvane::model {

// The <DesktopInfo> element of the identity document: what this computer
// told the services about itself.
DesktopInfo readDesktopInfo(const pugi::xml_node& node);
// Appends a <DesktopInfo> element with its four children to `parent`.
void writeDesktopInfo(pugi::xml_node& parent, const DesktopInfo& info);

} // namespace orvane::model
