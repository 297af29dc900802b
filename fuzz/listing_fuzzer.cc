// Fuzzer for the listing reader: any bytes as list_log. Every record is one entry, cut at 256
// columns and without trailing blanks, and the name of a non-empty entry is its last word.

#include <cstdlib>
#include <iostream>

#include "driver/listing.h"
#include "testing/memory_log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view data(reinterpret_cast<const char*>(bytes), size);
  tabrun::MemoryLog listing(data, tabrun::LogText::kMinWindow);
  const tabrun::NameList entries = tabrun::ReadListing(listing.text);
  std::size_t i = 0;
  for (std::size_t at = 0, lf; at < size; at = lf + 1, ++i) {
    lf = std::min(data.find('\n', at), size);
    std::string_view record = data.substr(at, lf - at);
    if (lf < size && record.ends_with('\r')) record.remove_suffix(1);
    record = record.substr(0, record.find_last_not_of(' ', 255) + 1);  // 256 columns, trimmed
    const std::string_view name = record.substr(record.find_last_of(' ') + 1);  // the last word
    if (i >= entries.size() || entries[i] != record ||
        (!record.empty() && tabrun::NameOfEntry(record) != name)) {
      std::cerr << "record " << i << ": want \"" << record << "\" named \"" << name << "\"\n";
      std::abort();
    }
  }
  if (i != entries.size()) std::abort();  // entries past the last record
  return 0;
}
