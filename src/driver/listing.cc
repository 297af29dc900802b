#include "driver/listing.h"

namespace tabrun {

std::vector<std::string> ReadListing(LogText& listing) {
  std::vector<std::string> entries;
  for (std::uint64_t at = 0; at < listing.size(); at = listing.NextRecord(at)) {
    entries.emplace_back(listing.Record(at).Trimmed());
  }
  return entries;
}

std::string_view NameOfEntry(std::string_view entry) {
  const std::string_view text = TrimRight(entry);
  const int last_blank = IndexLast(text, " ");
  return text.substr(last_blank);
}

}  // namespace tabrun
