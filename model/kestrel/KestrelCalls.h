#pragma once

#include "model/kestrel/KestrelInstallation.h"

#include <string>

namespace orvane::model {

// The address of a signed Kestrel call of this installation:
// kestrelBaseUrl() + path + the installation's code.
std::wstring kestrelCallUrl(const KestrelInstallation& installation, const std::wstring& path);

// The name of the key that signs the installation's calls: the aggregate's
// own key. An installation that belongs to no aggregate cannot sign:
// BaseException.
std::wstring signingKeyName(const KestrelInstallation& installation);

} // namespace orvane::model
