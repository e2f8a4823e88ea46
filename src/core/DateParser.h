// DateParser and generateDate: dates as mail and HTTP headers write them,
// with English day and month names whatever the process locale.
#pragma once
#include <ctime>

namespace zenvary {

class StringBuffer;

class DateParser {
public:
    // Makes sure, once per process, that the English names are at hand.
    DateParser();
    virtual ~DateParser() = default;
};

// Appends the local time as "Tue, 05 Mar 2024 14:03:09 +0100": the clock by
// "%a, %d %b %Y %H:%M:%S " and the offset from UTC, daylight time included,
// as sign, two digits of hours and two of minutes.
void generateDate(StringBuffer& out);
// The same for a given moment (for tests and callers with their own clock).
void generateDateAt(time_t when, StringBuffer& out);

}  // namespace zenvary
