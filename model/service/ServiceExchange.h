#pragma once

// What every service call of the model shares: the four ways of posting a
// document (from the network layer), the printing of good answers, the JSON
// text of a value and the service addresses in the forms the calls use.

#include "net/DocumentPosting.h"

#include <json/value.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace orvane::model {

class Clock;

// Line printed above and below every answer that a call prints.
extern const char* const kAnswerRule;

// The value as the JSON writer puts it on the wire: tab indentation, one
// member a line, members ascending.
std::string jsonText(const Json::Value& value);

// Prints the answer between two lines of kAnswerRule, unless printing was
// turned off.
void printAnswer(std::ostream& out, const Json::Value& answer);
// Turns the printing of answers on (the default) or off for the whole
// process: off where the calls run inside another program (the PKCS#11
// module), whose output is not ours.
void setAnswerPrinting(bool on);

// "https://" + harrierBaseUrl() + path, whatever scheme the configuration
// named.
std::wstring harrierUrl(const std::wstring& path);

// The decimal text of the clock's time in milliseconds since the epoch.
std::string millisecondsText(Clock& clock);

// Whether an HTTP status is in the 2xx class.
inline bool isSuccessStatus(int status) { return status / 100 == 2; }

} // namespace orvane::model
