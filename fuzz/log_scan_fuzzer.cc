// Differential fuzzer for the log scan and the record reader beneath it, on logs of any size
// up to libFuzzer's -max_len.
//
// One input is one log. It is scanned from memory with the block search and with the
// record-by-record search, and from a file (as the program reads it) with the block search;
// the three scans must agree to the bit: result, offending CPU text, batch state and every
// byte written to either stream. A scan must also leave lines of the fixed log.res lengths,
// and a log without carriage returns must scan the same once its line feeds become CR LF.
//
// The same bytes then drive these readers, and a plain model of the reader, through reads,
// steps back and marker searches decoded from the input's first bytes; after every step all
// must return the same and stand at the same place.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_support.h"
#include "recio/input_file.h"
#include "recio/record_reader.h"

namespace tabrun::fuzz {
namespace {

MemoryFile& TheFile() {
  static MemoryFile file;
  return file;
}

void OpenFile(InputFile& input) {
  std::string error;
  FUZZ_CHECK(input.Open(TheFile().path(), &error) == InputFile::OpenResult::kOpened);
}

void FuzzLog(std::string_view data) {
  TheFile().Set(data);

  RecordReader block(data, SearchMode::kBlock);
  const ScanOutcome outcome = Scan(block);
  CheckOutcome(outcome);
  RecordReader reference(data, SearchMode::kRecordByRecord);
  CheckSameOutcome(Scan(reference), outcome);
  InputFile input;
  OpenFile(input);
  RecordReader from_file(input, SearchMode::kBlock);
  CheckSameOutcome(Scan(from_file), outcome);

  // A carriage return right before a line feed belongs to the line end, so it must change
  // nothing, wherever the markers stand.
  if (data.find('\r') == std::string_view::npos && data.find('\n') != std::string_view::npos) {
    std::string crlf;
    crlf.reserve(data.size() * 2);
    for (char c : data) {
      if (c == '\n') crlf.push_back('\r');
      crlf.push_back(c);
    }
    RecordReader crlf_block(crlf, SearchMode::kBlock);
    CheckSameOutcome(Scan(crlf_block), outcome);
  }

  OpenFile(input);
  std::vector<RecordReader> readers = {
      RecordReader(data, SearchMode::kBlock),
      RecordReader(data, SearchMode::kRecordByRecord),
      RecordReader(input, SearchMode::kBlock),
  };
  CheckReadersAgree(data, data, readers);
}

}  // namespace
}  // namespace tabrun::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tabrun::fuzz::FuzzLog(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
