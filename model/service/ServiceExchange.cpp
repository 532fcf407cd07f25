#include "model/service/ServiceExchange.h"

#include "model/service/Clock.h"
#include "config/ServiceUrls.h"

#include <json/writer.h>

#include <atomic>

namespace orvane::model {

const char* const kAnswerRule = "===================================";

namespace {

std::atomic<bool> answerPrinting{true};

} // namespace

std::string jsonText(const Json::Value& value)
{
    return Json::writeString(Json::StreamWriterBuilder(), value);
}

void printAnswer(std::ostream& out, const Json::Value& answer)
{
    if (!answerPrinting.load())
        return;
    out << kAnswerRule << '\n' << jsonText(answer) << '\n' << kAnswerRule << std::endl;
}

void setAnswerPrinting(bool on)
{
    answerPrinting.store(on);
}

std::wstring harrierUrl(const std::wstring& path)
{
    return L"https://" + harrierBaseUrl() + path;
}

std::string millisecondsText(Clock& clock)
{
    return std::to_string(clock.nowMilliseconds());
}

} // namespace orvane::model
