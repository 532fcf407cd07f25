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

// The standard library reads the numbers of an expression (back-references,
// counts) into a long without a check, so a run of digits too long for it
// overflows. No validator needs a number of ten digits: an expression with
// one after a backslash, "{" or "," is refused as invalid before it gets there.
void refuseOverlongNumbers(const std::wstring& expression)
{
    wchar_t before = 0;
    std::size_t digits = 0;
    for (const wchar_t c : expression) {
        if (c < L'0' || c > L'9') {
            before = c;
            digits = 0;
        } else if ((before == L'\\' || before == L'{' || before == L',') && ++digits > 9) {
            throw std::regex_error(before == L'\\' ? std::regex_constants::error_backref
                                                  : std::regex_constants::error_badbrace);
        }
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
    // The expression comes from the server. The standard library judges it
    // as ECMAScript: an invalid one raises std::regex_error, and one that
    // would need too many states is refused so. Its matcher, though,
    // backtracks by recursion without bound, so a hostile expression or a
    // long input could hang the form or overflow the stack: the matching is
    // Boost's, which keeps its backtracking on the heap and gives up past a
    // fixed amount of work. As in ECMAScript, "^" and "$" hold only at the
    // ends of the text and "." takes no line break.
    refuseOverlongNumbers(regexValidator);
    const std::wregex checked(regexValidator, std::regex_constants::ECMAScript);
    if (input.size() > kLongestValidatedInput)
        return false;
    namespace syntax = boost::regex_constants;
    try {
        const boost::wregex expression(regexValidator, syntax::ECMAScript | syntax::no_mod_m | syntax::no_mod_s);
        return boost::regex_match(input, expression);
    } catch (const std::runtime_error&) {
        // Too much work, or a construct that Boost reads otherwise: the
        // input is not taken as valid.
        return false;
    }
}

bool Field::operator==(const Field& other) const
{
    return mask == other.mask && regexValidator == other.regexValidator;
}

} // namespace orvane::model
