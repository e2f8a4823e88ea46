#include "core/DateParser.h"

#include <locale.h>

#include <cstdio>
#include <cstdlib>

#include "core/StringBuffer.h"

namespace zenvary {

namespace {

// The "C" locale has the English names. It is made once and used only by
// strftime_l here, so the process locale is never changed.
locale_t englishLocale() {
    static const locale_t loc = newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(nullptr));
    return loc;
}

}  // namespace

DateParser::DateParser() { (void)englishLocale(); }

void generateDateAt(time_t when, StringBuffer& out) {
    struct tm local {};
    if (!localtime_r(&when, &local)) return;
    char text[80];
    size_t n = 0;
    if (locale_t loc = englishLocale())
        n = strftime_l(text, sizeof text, "%a, %d %b %Y %H:%M:%S ", &local, loc);
    else
        n = strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S ", &local);
    out.appendN(text, static_cast<int>(n));
    // tm_gmtoff is seconds east of UTC with daylight time already added:
    // the opposite sign of a bias counted west.
    long offsetMinutes = local.tm_gmtoff / 60;
    long magnitude = labs(offsetMinutes);
    char zone[48];
    snprintf(zone, sizeof zone, "%c%.2ld%.2ld", offsetMinutes < 0 ? '-' : '+', magnitude / 60, magnitude % 60);
    out.append(zone);
}

void generateDate(StringBuffer& out) { generateDateAt(time(nullptr), out); }

}  // namespace zenvary
