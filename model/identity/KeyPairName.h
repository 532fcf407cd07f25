#pragma once

#include <string>

namespace orvane::model {

// A new name for this computer's key pair: "Orvane." and a random version 4
// UUID (variant bits set) in lower case, 8-4-4-4-12 digits, drawn from the
// system's random source.
std::wstring newKeyPairName();

} // namespace orvane::model
