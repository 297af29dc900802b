// Fuzzer for the listing reader: any bytes as list_log, read from memory and from a file.
//
// Every record becomes one entry, cut at 256 columns and without trailing blanks, and the name
// of a non-blank entry is its last blank-separated word: a non-empty suffix of the entry with
// no blank in it, preceded by a blank unless it is the whole entry. Blank padding behind the
// entry must not change the name.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "driver/listing.h"
#include "fuzz_support.h"
#include "recio/fixed_text.h"
#include "recio/input_file.h"
#include "recio/record_reader.h"

namespace tabrun::fuzz {
namespace {

void CheckName(std::string_view entry) {
  const std::string_view name = NameOfEntry(entry);
  const std::string_view text = TrimRight(entry);
  FUZZ_CHECK(!name.empty());
  FUZZ_CHECK(name.find(' ') == std::string_view::npos);
  FUZZ_CHECK(name.size() <= text.size());
  FUZZ_CHECK(text.substr(text.size() - name.size()) == name);
  FUZZ_CHECK(name.size() == text.size() || text[text.size() - name.size() - 1] == ' ');
}

void FuzzListing(std::string_view text) {
  const std::vector<std::string_view> records = SplitRecords(text);

  RecordReader listing(text);
  const std::vector<std::string> entries = ReadListing(listing);
  FUZZ_CHECK(entries.size() == records.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string& entry = entries[i];
    FUZZ_CHECK(entry == TrimRight(records[i].substr(0, kRecordLength)));
    if (entry.empty()) continue;  // the driver skips blank entries before naming them
    CheckName(entry);
    // The same entry as the 256-column buffer it was read into.
    const FixedText padded(entry);
    FUZZ_CHECK(NameOfEntry(padded.view()) == NameOfEntry(entry));
  }

  // The program reads list_log from a file.
  static MemoryFile file;
  file.Set(text);
  InputFile input;
  std::string error;
  FUZZ_CHECK(input.Open(file.path(), &error) == InputFile::OpenResult::kOpened);
  RecordReader from_file(input);
  FUZZ_CHECK(ReadListing(from_file) == entries);

  // The naming rule on text that never went through the reader: any length, any bytes.
  if (!TrimRight(text).empty()) CheckName(text);
}

}  // namespace
}  // namespace tabrun::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tabrun::fuzz::FuzzListing(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
