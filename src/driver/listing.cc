#include "driver/listing.h"

namespace tabrun {

NameList ReadListing(LogText& listing) {
  NameList entries;
  for (std::uint64_t at = 0; at < listing.size(); at = listing.NextRecord(at)) {
    entries.Add(listing.Record(at).Trimmed());
  }
  return entries;
}

std::string_view NameOfEntry(std::string_view entry) {
  const std::string_view text = TrimRight(entry);
  const int last_blank = IndexLast(text, " ");
  return text.substr(last_blank);
}

}  // namespace tabrun
