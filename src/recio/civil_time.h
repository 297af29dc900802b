// Calendar dates of times counted in seconds since 1970, the same on every platform.

#ifndef TABRUN_RECIO_CIVIL_TIME_H_
#define TABRUN_RECIO_CIVIL_TIME_H_

#include <cstdint>

namespace tabrun {

struct CivilTime {
  std::int64_t year;  // may be 0 or negative: the year before 1 is 0
  int month;          // 1 to 12
  int day;            // 1 to 31
  int hour, minute, second;
};

// The UTC date and time `seconds` after 1970-01-01 00:00:00 UTC in the proleptic Gregorian
// calendar. Every 64-bit value has one, before 1970 too.
CivilTime CivilTimeOf(std::int64_t seconds);

}  // namespace tabrun

#endif  // TABRUN_RECIO_CIVIL_TIME_H_
