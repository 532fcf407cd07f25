#pragma once

#include <string>

namespace orvane::model {

// UTF-8 <-> wide text. Malformed input raises std::range_error("bad
// conversion"), the same failure the standard converters give.
std::wstring fromUtf8(const std::string& text);
std::string toUtf8(const std::wstring& text);

// One byte per character, as the small properties files are read and written:
// each byte becomes the code unit of the same value, and back (code units
// above 0xFF keep their low byte).
std::wstring widenBytes(const std::string& bytes);
std::string narrowBytes(const std::wstring& text);

} // namespace orvane::model
