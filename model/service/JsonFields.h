#pragma once

#include <json/value.h>

#include <string>

namespace orvane::model::json {

// A member of a service reply as wide text. A missing member, a reply that is
// no object, or a member that is an array or object reads as empty, so a
// malformed reply degrades to empty fields instead of a failure; a text that
// is no UTF-8 reads byte for byte.
std::wstring wideMember(const Json::Value& object, const char* name);
// The same as UTF-8.
std::string narrowMember(const Json::Value& object, const char* name);
// The member, or a null value when absent or when `object` is no object.
const Json::Value& member(const Json::Value& object, const char* name);

} // namespace orvane::model::json
