// A field of the server's catalogue meeting what a person types: the first
// line is the mask, the second the validating expression, the rest the
// typed text (all UTF-8, as they arrive).
#include "config/TextCodec.h"
#include "model/catalogue/Field.h"

#include <cstdint>
#include <regex>
#include <stdexcept>
#include <string>

namespace {

std::wstring wide(const std::string& text)
{
    try {
        return orvane::model::fromUtf8(text);
    } catch (const std::range_error&) {
        return orvane::model::widenBytes(text);
    }
}

std::string nextLine(std::string& text)
{
    const std::size_t end = text.find('\n');
    std::string line = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    orvane::model::Field field;
    field.mask = wide(nextLine(text));
    field.regexValidator = wide(nextLine(text));
    const std::wstring typed = wide(text);

    const orvane::model::MaskResult masked = field.applyMask(typed);
    if (masked.accepted && masked.stripped.size() > typed.size())
        __builtin_trap();  // stripping only ever removes typed literals
    try {
        field.matches(masked.stripped);
        field.matches(typed);
    } catch (const std::regex_error&) {
        // An expression that is not one: the documented failure.
    }
    return 0;
}
