#pragma once

#include <string>
#include <sys/types.h>

namespace orvane::model {

// Replaces the file at `path` with `content` so that a crash at any moment
// leaves either the old or the new file whole: the bytes go to a temporary
// file in the same folder, which is flushed to disk and then renamed over the
// old one. The file gets `mode` (owner-only by default). Returns false, with
// the old file untouched and no temporary left behind, when any step fails.
bool writeFileAtomically(const std::string& path, const std::string& content, mode_t mode = 0600);

// The same for a file that others may share, such as the installer's
// configuration: an existing file keeps its mode, owner and group (so that
// rewriting it as one user does not take it from the others); a new one gets
// `newFileMode`. When the owner or group cannot be kept, nothing is replaced
// and the answer is false.
bool rewriteFileAtomically(const std::string& path, const std::string& content, mode_t newFileMode);

} // namespace orvane::model
