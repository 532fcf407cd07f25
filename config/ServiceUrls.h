#pragma once

#include "config/Properties.h"

#include <string>

namespace orvane::model {

// Base of every Kestrel call: brantis.url + brantis.base.name + "/desktop"
// from the configuration file. Worked out once per process and kept; empty
// (and not kept, so asked again next time) while brantis.url is empty.
std::wstring kestrelBaseUrl();
// Host of every Harrier call, from harrier.url; worked out once and kept.
std::wstring harrierBaseUrl();

// The derivations themselves, over a configuration already read.
std::wstring deriveKestrelBaseUrl(const Properties& configuration);
std::wstring deriveHarrierBaseUrl(const Properties& configuration);

} // namespace orvane::model
