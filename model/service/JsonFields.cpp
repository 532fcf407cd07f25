#include "model/service/JsonFields.h"

#include "config/TextCodec.h"

namespace orvane::model::json {

const Json::Value& member(const Json::Value& object, const char* name)
{
    static const Json::Value kNull;
    if (!object.isObject())
        return kNull;
    const Json::Value* found = object.find(name, name + std::char_traits<char>::length(name));
    return found ? *found : kNull;
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
    return fromUtf8(narrowMember(object, name));
}

} // namespace orvane::model::json
