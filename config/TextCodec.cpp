#include "config/TextCodec.h"

#include <stdexcept>

namespace orvane::model {

namespace {

[[noreturn]] void badConversion()
{
    throw std::range_error("bad conversion");
}

} // namespace

std::wstring fromUtf8(const std::string& text)
{
    std::wstring result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        unsigned char lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            result.push_back(static_cast<wchar_t>(lead));
            ++i;
            continue;
        }
        std::size_t length;
        char32_t code;
        if ((lead & 0xE0) == 0xC0) { length = 2; code = lead & 0x1F; }
        else if ((lead & 0xF0) == 0xE0) { length = 3; code = lead & 0x0F; }
        else if ((lead & 0xF8) == 0xF0) { length = 4; code = lead & 0x07; }
        else badConversion();
        if (i + length > text.size())
            badConversion();
        for (std::size_t k = 1; k < length; ++k) {
            unsigned char next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80)
                badConversion();
            code = (code << 6) | (next & 0x3F);
        }
        static const char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (code < smallest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            badConversion();
        result.push_back(static_cast<wchar_t>(code));
        i += length;
    }
    return result;
}

std::string toUtf8(const std::wstring& text)
{
    std::string result;
    result.reserve(text.size());
    for (wchar_t unit : text) {
        char32_t code = static_cast<char32_t>(unit);
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            badConversion();
        if (code < 0x80) {
            result.push_back(static_cast<char>(code));
        } else if (code < 0x800) {
            result.push_back(static_cast<char>(0xC0 | (code >> 6)));
            result.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else if (code < 0x10000) {
            result.push_back(static_cast<char>(0xE0 | (code >> 12)));
            result.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else {
            result.push_back(static_cast<char>(0xF0 | (code >> 18)));
            result.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        }
    }
    return result;
}

std::wstring widenBytes(const std::string& bytes)
{
    std::wstring result;
    result.reserve(bytes.size());
    for (char byte : bytes)
        result.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    return result;
}

std::string narrowBytes(const std::wstring& text)
{
    std::string result;
    result.reserve(text.size());
    for (wchar_t unit : text)
        result.push_back(static_cast<char>(static_cast<unsigned char>(unit & 0xFF)));
    return result;
}

} // namespace orvane::model
