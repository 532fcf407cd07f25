#include "app/ctl/JsonOutput.h"

#include <cstdio>

namespace orvane::ctl {

namespace {

// Length of the valid UTF-8 sequence at `i`, or 0 when there is none
// (overlong forms, surrogates and code points above U+10FFFF are not valid).
std::size_t utf8SequenceLength(const std::string& text, std::size_t i)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char first = byte(i);
    std::size_t length = 0;
    unsigned long codePoint = 0;
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
        codePoint = first & 0x1F;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        codePoint = first & 0x0F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        codePoint = first & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size())
        return 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xC0) != 0x80)
            return 0;
        codePoint = (codePoint << 6) | (byte(i + k) & 0x3F);
    }
    if ((length == 3 && codePoint < 0x800) || (length == 4 && (codePoint < 0x10000 || codePoint > 0x10FFFF))
        || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
        return 0;
    return length;
}

void escaped(std::string& out, unsigned char byte)
{
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04x", byte);
    out += code;
}

void write(std::ostream& out, const Json::Value& value)
{
    switch (value.type()) {
    case Json::nullValue:
        out << "null";
        break;
    case Json::intValue:
        out << value.asLargestInt();
        break;
    case Json::uintValue:
        out << value.asLargestUInt();
        break;
    case Json::realValue:
        out << value.asDouble();
        break;
    case Json::booleanValue:
        out << (value.asBool() ? "true" : "false");
        break;
    case Json::stringValue: {
        const char* begin = nullptr;
        const char* end = nullptr;
        value.getString(&begin, &end);
        out << jsonString(std::string(begin, end));
        break;
    }
    case Json::arrayValue: {
        out << '[';
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            if (i > 0)
                out << ',';
            write(out, value[i]);
        }
        out << ']';
        break;
    }
    case Json::objectValue: {
        out << '{';
        bool first = true;
        for (const std::string& name : value.getMemberNames()) {
            if (!first)
                out << ',';
            first = false;
            out << jsonString(name) << ':';
            write(out, value[name]);
        }
        out << '}';
        break;
    }
    }
}

} // namespace

std::string jsonString(const std::string& bytes)
{
    std::string out = "\"";
    for (std::size_t i = 0; i < bytes.size();) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte == '"' || byte == '\\') {
            out += '\\';
            out += static_cast<char>(byte);
            ++i;
        } else if (byte < 0x20 || byte == 0x7F) {
            escaped(out, byte);
            ++i;
        } else if (byte < 0x80) {
            out += static_cast<char>(byte);
            ++i;
        } else if (const std::size_t length = utf8SequenceLength(bytes, i)) {
            out.append(bytes, i, length);
            i += length;
        } else {
            escaped(out, byte);
            ++i;
        }
    }
    out += '"';
    return out;
}

void writeJson(std::ostream& out, const Json::Value& value) { write(out, value); }

} // namespace orvane::ctl
