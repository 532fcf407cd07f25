#pragma once

#include <json/value.h>

#include <ostream>
#include <string>

namespace orvane::ctl {

// Compact JSON on one line. Strings keep their bytes where they are valid
// UTF-8; a byte that is not is written as \u00XX of its value, so that
// certificates with Latin-1 or broken text still give valid JSON that shows
// what is there.
void writeJson(std::ostream& out, const Json::Value& value);

std::string jsonString(const std::string& bytes);

} // namespace orvane::ctl
