#include "model/catalogue/Field.h"

#include "model/service/JsonFields.h"
#include "model/identity/XmlNodes.h"

#include <boost/regex.hpp>

#include <cwctype>
#include <regex>

namespace orvane::model {

namespace {

// The messages end in "posição" with no number behind them; the screens have
// always shown them so.
const wchar_t* const kNotNumeric = L"Caracter não-numérico digitado incorretamente na posição";
const wchar_t* const kNotAlphabetic = L"Caracter numérico digitado incorretamente na posição";
const wchar_t* const kNotAlphanumeric = L"Caracter digitado incorretamente na posição";
const wchar_t* const kTooLong = L"Caracteres digitados acima do permitido";

// Longer than any document number the forms take; longer text is not
// validated at all, which bounds the matching time per keystroke.
constexpr std::size_t kLongestValidatedInput = 256;

// What an invalid expression is reported as, in the standard's terms.
std::regex_constants::error_type standardCode(boost::regex_constants::error_type code)
{
    namespace b = boost::regex_constants;
    namespace s = std::regex_constants;
    switch (code) {
    case b::error_collate: return s::error_collate;
    case b::error_ctype: return s::error_ctype;
    case b::error_escape: return s::error_escape;
    case b::error_backref: return s::error_backref;
    case b::error_brack: return s::error_brack;
    case b::error_paren:
    case b::error_right_paren: return s::error_paren;
    case b::error_brace: return s::error_brace;
    case b::error_badbrace: return s::error_badbrace;
    case b::error_range: return s::error_range;
    case b::error_space: return s::error_space;
    case b::error_complexity: return s::error_complexity;
    case b::error_stack: return s::error_stack;
    default: return s::error_badrepeat;
    }
}

bool isDigit(wchar_t c)
{
    return std::iswdigit(static_cast<wint_t>(c)) != 0;
}

bool isAlpha(wchar_t c)
{
    return std::iswalpha(static_cast<wint_t>(c)) != 0;
}

} // namespace

Field Field::fromJson(const Json::Value& value)
{
    Field field;
    field.mask = json::wideMember(value, "mask");
    field.regexValidator = json::wideMember(value, "regexValidator");
    return field;
}

Field Field::read(const pugi::xml_node& node)
{
    Field field;
    field.mask = xml::childText(node, "Mask");
    field.regexValidator = xml::childText(node, "RegexValidator");
    return field;
}

void Field::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("Field");
    xml::appendTextElement(node, "Mask", mask);
    xml::appendTextElement(node, "RegexValidator", regexValidator);
}

MaskResult Field::applyMask(const std::wstring& input) const
{
    MaskResult result;
    result.stripped = input;
    std::wstring output;
    std::size_t i = 0;
    std::size_t j = 0;

    while (i < mask.size()) {
        // A partly typed value is a valid state: leftover mask positions are
        // no error, and trailing literals are not added yet.
        if (j >= result.stripped.size()) {
            result.text = output;
            return result;
        }
        const wchar_t c = mask[i];
        const wchar_t typed = result.stripped[j];
        if (c == L'9' || c == L'a' || c == L'*') {
            bool fits = false;
            const wchar_t* message = nullptr;
            if (c == L'9') {
                fits = isDigit(typed);
                message = kNotNumeric;
            } else if (c == L'a') {
                fits = isAlpha(typed);
                message = kNotAlphabetic;
            } else {
                fits = isDigit(typed) || isAlpha(typed);
                message = kNotAlphanumeric;
            }
            // A mismatch replaces what was shown so far; the scan goes on and
            // later good characters appear behind the message.
            if (fits) {
                output += typed;
            } else {
                output = message;
                result.accepted = false;
            }
            ++i;
            ++j;
        } else if (c == L'?') {
            output.append(result.stripped, j, std::wstring::npos);
            result.text = output;
            return result;
        } else {
            // A literal: absorbed when typed, supplied when left out; either
            // way `stripped` keeps no literal and `j` stays put.
            if (typed == c)
                result.stripped.erase(j, 1);
            output += c;
            ++i;
        }
    }

    if (j < result.stripped.size()) {
        output = kTooLong;
        result.accepted = false;
    }
    result.text = output;
    return result;
}

bool Field::matches(const std::wstring& input) const
{
    // The expression comes from the server. The standard library's matcher
    // backtracks by recursion without bound, so a hostile expression or a
    // long input could hang the form or overflow the stack; Boost's matcher
    // keeps its backtracking on the heap and gives up past a fixed amount of
    // work. As in ECMAScript, "^" and "$" hold only at the ends of the text
    // and "." takes no line break.
    namespace syntax = boost::regex_constants;
    boost::wregex expression;
    try {
        expression.assign(regexValidator, syntax::ECMAScript | syntax::no_mod_m | syntax::no_mod_s);
    } catch (const boost::regex_error& error) {
        throw std::regex_error(standardCode(error.code()));
    }
    if (input.size() > kLongestValidatedInput)
        return false;
    try {
        return boost::regex_match(input, expression);
    } catch (const std::runtime_error&) {
        return false;  // too much work: the input is not taken as valid
    }
}

bool Field::operator==(const Field& other) const
{
    return mask == other.mask && regexValidator == other.regexValidator;
}

} // namespace orvane::model
