#pragma once

#include <json/value.h>

#include <string>

namespace orvane::model::json {

// A member of a service reply as wide text. A missing member, or a member
// that is an array or object, reads as empty; a reply that is neither an
// object nor null fails as member() does; a text that is no UTF-8 reads
// byte for byte.
std::wstring wideMember(const Json::Value& object, const char* name);
// The same as UTF-8.
std::string narrowMember(const Json::Value& object, const char* name);
// The member, or a null value when absent or when `object` is null. Any
// other value that is no object throws Json::LogicError.
const Json::Value& member(const Json::Value& object, const char* name);

} // namespace orvane::model::json
