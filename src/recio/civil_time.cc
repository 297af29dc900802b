#include "recio/civil_time.h"

namespace tabrun {

CivilTime CivilTimeOf(std::int64_t seconds) {
  // The C library's gmtime refuses times before 1970 on some platforms, and std::chrono::year
  // stops at 32767, short of what a 64-bit time reaches: the date is counted here in 64 bits,
  // by 400-year eras of 146097 days that start on 1 March, so that a leap day ends its year.
  std::int64_t days = seconds / 86400, since_midnight = seconds % 86400;
  if (since_midnight < 0) since_midnight += 86400, --days;  // the day before 1970, not after
  const std::int64_t z = days + 719468;                     // days since 0000-03-01
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t day_of_era = z - era * 146097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const auto march_based_month = static_cast<int>((5 * day_of_year + 2) / 153);  // 0 is March
  const int month = march_based_month < 10 ? march_based_month + 3 : march_based_month - 9;
  const auto second = static_cast<int>(since_midnight);
  return {year_of_era + era * 400 + (month <= 2),
          month,
          static_cast<int>(day_of_year - (153 * march_based_month + 2) / 5 + 1),
          second / 3600,
          second / 60 % 60,
          second % 60};
}

}  // namespace tabrun
