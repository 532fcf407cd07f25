#pragma once

#include <openssl/types.h>

#include <ctime>
#include <memory>
#include <string>

namespace valmora::signer {

struct DateTimeIntervalImpl {
    std::tm notBefore{};
    std::tm notAfter{};
};

// The validity of a certificate as two broken-down UTC times. A
// default-constructed interval has both records all zero.
class DateTimeInterval {
public:
    DateTimeInterval();
    DateTimeInterval(const std::tm& notBefore, const std::tm& notAfter);

    const std::tm& notBefore() const;
    const std::tm& notAfter() const;

    // "dd/mm/yyyy" of the end in Brasília time (UTC-3): the day that a person
    // in Brazil would name, whatever the machine's time zone.
    std::string notAfterDate() const;

private:
    std::shared_ptr<DateTimeIntervalImpl> impl_;
};

// Reads an ASN.1 UTCTime or GeneralizedTime of the form YYMMDDHHMM[SS][Z]
// or YYYYMMDDHHMM[SS][Z]; no fractions, no offsets. UTC years below 50 are
// 20xx. Anything else, or a month outside 1-12, gives a record of zeros.
std::tm parseTime(const ASN1_TIME* time);

// The record moved by `seconds` and normalised by calendar arithmetic alone,
// so that the result does not depend on the TZ of the process.
std::tm shiftTime(const std::tm& time, long long seconds);

} // namespace valmora::signer
