#include "signer/DateTimeInterval.h"

#include <openssl/asn1.h>

#include <cstdio>

namespace valmora::signer {

namespace {

// Days from 1970-01-01 to a date of the proleptic Gregorian calendar
// (H. Hinnant's days_from_civil); `month` is 1-12.
long long daysFromCivil(long long year, unsigned month, unsigned day)
{
    year -= month <= 2;
    const long long era = (year >= 0 ? year : year - 399) / 400;
    const auto yearOfEra = static_cast<unsigned>(year - era * 400);
    const unsigned dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<long long>(dayOfEra) - 719468;
}

void civilFromDays(long long days, long long& year, unsigned& month, unsigned& day)
{
    days += 719468;
    const long long era = (days >= 0 ? days : days - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned shifted = (5 * dayOfYear + 2) / 153;
    day = dayOfYear - (153 * shifted + 2) / 5 + 1;
    month = shifted < 10 ? shifted + 3 : shifted - 9;
    year = static_cast<long long>(yearOfEra) + era * 400 + (month <= 2);
}

int digitsAt(const unsigned char* text, int position, int count)
{
    int value = 0;
    for (int i = 0; i < count; ++i)
        value = value * 10 + (text[position + i] - '0');
    return value;
}

} // namespace

DateTimeInterval::DateTimeInterval() : impl_(std::make_shared<DateTimeIntervalImpl>()) {}

DateTimeInterval::DateTimeInterval(const std::tm& notBefore, const std::tm& notAfter)
    : impl_(std::make_shared<DateTimeIntervalImpl>(DateTimeIntervalImpl{notBefore, notAfter}))
{
}

const std::tm& DateTimeInterval::notBefore() const { return impl_->notBefore; }

const std::tm& DateTimeInterval::notAfter() const { return impl_->notAfter; }

std::string DateTimeInterval::notAfterDate() const
{
    constexpr long long brasiliaOffset = -3 * 3600;
    const std::tm local = shiftTime(impl_->notAfter, brasiliaOffset);
    char text[64];
    std::snprintf(text, sizeof text, "%02d/%02d/%04d", local.tm_mday, local.tm_mon + 1, local.tm_year + 1900);
    return text;
}

std::tm shiftTime(const std::tm& time, long long seconds)
{
    // Month first, carried into the year, then everything else in seconds:
    // this accepts the same out-of-range fields that mktime accepts.
    long long year = 1900LL + time.tm_year + time.tm_mon / 12;
    int month = time.tm_mon % 12;
    if (month < 0) {
        month += 12;
        --year;
    }
    const long long days = daysFromCivil(year, static_cast<unsigned>(month + 1), 1) + time.tm_mday - 1;
    long long total = days * 86400 + time.tm_hour * 3600LL + time.tm_min * 60LL + time.tm_sec + seconds;

    long long dayNumber = total / 86400;
    long long secondOfDay = total % 86400;
    if (secondOfDay < 0) {
        secondOfDay += 86400;
        --dayNumber;
    }
    unsigned resultMonth = 0;
    unsigned resultDay = 0;
    long long resultYear = 0;
    civilFromDays(dayNumber, resultYear, resultMonth, resultDay);

    std::tm out{};
    out.tm_year = static_cast<int>(resultYear - 1900);
    out.tm_mon = static_cast<int>(resultMonth) - 1;
    out.tm_mday = static_cast<int>(resultDay);
    out.tm_hour = static_cast<int>(secondOfDay / 3600);
    out.tm_min = static_cast<int>(secondOfDay / 60 % 60);
    out.tm_sec = static_cast<int>(secondOfDay % 60);
    out.tm_wday = static_cast<int>(((dayNumber % 7) + 11) % 7);  // 1970-01-01 was a Thursday
    out.tm_yday = static_cast<int>(dayNumber - daysFromCivil(resultYear, 1, 1));
    out.tm_isdst = 0;
    return out;
}

std::tm parseTime(const ASN1_TIME* time)
{
    std::tm out{};
    if (!time)
        return out;
    const int type = ASN1_STRING_type(time);
    if (type != V_ASN1_UTCTIME && type != V_ASN1_GENERALIZEDTIME)
        return out;
    const bool generalized = type == V_ASN1_GENERALIZEDTIME;
    const unsigned char* text = ASN1_STRING_get0_data(time);
    const int length = ASN1_STRING_length(time);
    if (!text || length < (generalized ? 12 : 10))
        return out;
    for (int i = 0; i < length - 1; ++i)
        if (text[i] < '0' || text[i] > '9')
            return out;
    const unsigned char last = text[length - 1];
    if (!((last >= '0' && last <= '9') || last == 'Z'))
        return out;

    int position = 0;
    if (generalized) {
        out.tm_year = digitsAt(text, 0, 4) - 1900;
        position = 4;
    } else {
        const int year = digitsAt(text, 0, 2);
        out.tm_year = year < 50 ? year + 100 : year;
        position = 2;
    }
    const int month = digitsAt(text, position, 2);
    if (month < 1 || month > 12)
        return std::tm{};
    out.tm_mon = month - 1;
    out.tm_mday = digitsAt(text, position + 2, 2);
    out.tm_hour = digitsAt(text, position + 4, 2);
    out.tm_min = digitsAt(text, position + 6, 2);
    if (length > (generalized ? 13 : 11))
        out.tm_sec = digitsAt(text, position + 8, 2);
    return out;
}

} // namespace valmora::signer
