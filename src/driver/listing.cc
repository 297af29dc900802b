#include "driver/listing.h"

namespace tabrun {

std::vector<std::string> ReadListing(RecordReader& listing) {
  std::vector<std::string> entries;
  FixedText line;
  while (listing.Read(&line)) entries.emplace_back(line.Trimmed());
  return entries;
}

std::string_view NameOfEntry(std::string_view entry) {
  const std::string_view text = TrimRight(entry);
  const int last_blank = IndexLast(text, " ");
  return text.substr(last_blank);
}

}  // namespace tabrun
