#include "model/service/JsonFields.h"

#include "config/TextCodec.h"

#include <stdexcept>

namespace orvane::model::json {

const Json::Value& member(const Json::Value& object, const char* name)
{
    // The library's own access: null for a null value or a missing member,
    // and its failure (Json::LogicError) for a reply that is no object, such
    // as the JSON string a text reply becomes. That failure is for the caller
    // to see: reading it as "nothing there" would make a poll wait out its
    // deadline in silence.
    return object[name];
}

std::string narrowMember(const Json::Value& object, const char* name)
{
    const Json::Value& value = member(object, name);
    if (value.isString())
        return value.asString();
    if (value.isNumeric() || value.isBool())
        return value.asString();
    return {};
}

std::wstring wideMember(const Json::Value& object, const char* name)
{
    const std::string text = narrowMember(object, name);
    try {
        return fromUtf8(text);
    } catch (const std::range_error&) {
        // The JSON reader does not check the encoding of strings. A text that
        // is no UTF-8 is shown byte for byte rather than failing the answer.
        return widenBytes(text);
    }
}

} // namespace orvane::model::json
