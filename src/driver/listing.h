// The listing file: its entries, and the log file name each entry stands for.

#ifndef TABRUN_DRIVER_LISTING_H_
#define TABRUN_DRIVER_LISTING_H_

#include <string_view>

#include "recio/log_text.h"
#include "recio/name_list.h"

namespace tabrun {

// Reads every record of `listing` into one entry each, in order: the record cut at 256
// columns and without trailing blanks (so an empty or all-blank line gives an empty entry).
// Every record counts, whatever it holds, and the table has no size limit: the number of
// entries is the listing count that is reported and walked.
NameList ReadListing(LogText& listing);

// The name of the log file that a non-blank entry stands for: the entry's last word, the
// words being separated by blanks only (a tab is an ordinary character). An entry without
// a blank is taken whole.
std::string_view NameOfEntry(std::string_view entry);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_LISTING_H_
