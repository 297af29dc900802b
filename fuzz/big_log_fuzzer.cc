// Differential fuzzer for logs too big to be read whole, which the input file serves a window
// at a time.
//
// The input's first bytes choose a filler of more than 4 MB (its line length, line ends and
// text), a shift of up to two windows and a tail; the log is that filler, the input, and a short
// tail of filler. It is scanned from the file and from memory, and the scans must agree to the bit;
// then both readers and a plain model of the reader are walked through the steps the input encodes
// (as in the log scan fuzzer), so that records, searches and steps back meet window boundaries at
// every distance from a line end.

#include <algorithm>
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

// Past the size up to which the input file reads a file whole (checked below).
constexpr std::size_t kFillerBase = (4 << 20) + 1;

// Filler texts: near misses of every marker, blanks, lone carriage returns, plain letters.
constexpr std::string_view kFillerTexts[] = {
    "Control file *.pcr Normal en CPU Time Chi2 Rp RF2 -factor => PCR  File => Sol#: 1 RF2 ",
    "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx",
    "                                          .                                           ",
    "cycle\r 12\r Chi2 \r CPU Time \r\r Rp \r RF2 -factor \r Normal\r end\r Control file *.pcr\r",
};

// Filler line lengths, 0 for one line without any line feed; around the 256 columns of a
// record and the sizes of a window and of a backward step.
constexpr std::size_t kLineLengths[] = {
    0,    64,     80,     200,    255,    256,    257,    1000,
    4095, 131071, 131072, 131073, 262143, 262144, 262145, 700000,
};

struct Shape {
  std::size_t line_length;
  bool crlf;
  std::string_view text;
  std::size_t prefix;  // filler bytes before the input
  std::size_t suffix;  // filler bytes after it

  bool operator==(const Shape&) const = default;
};

Shape ShapeOf(std::string_view data) {
  auto byte = [&](std::size_t i) -> std::size_t {
    return i < data.size() ? static_cast<std::uint8_t>(data[i]) : 0;
  };
  Shape shape;
  shape.line_length = kLineLengths[byte(0) & 15];
  shape.crlf = (byte(0) & 16) != 0;
  shape.text = kFillerTexts[(byte(0) >> 5) & 3];
  // Any shift by up to two windows, to the byte, so that a boundary can fall anywhere.
  shape.prefix = kFillerBase + (byte(1) | byte(2) << 8 | (byte(3) & 7) << 16);
  shape.suffix = byte(0) & 128 ? (byte(3) >> 3) * 8192 : 0;
  return shape;
}

// `length` bytes of filler lines of the shape.
void AppendFiller(const Shape& shape, std::size_t length, std::string* out) {
  // One line with its line end, or a stretch of the one endless line, repeated.
  const std::size_t columns = shape.line_length != 0 ? shape.line_length : 4096;
  std::string unit;
  for (std::size_t column = 0; column < columns; ++column) {
    unit.push_back(shape.text[column % shape.text.size()]);
  }
  if (shape.line_length != 0) unit.append(shape.crlf ? "\r\n" : "\n");
  const std::size_t end = out->size() + length;
  while (out->size() < end) out->append(unit, 0, std::min(unit.size(), end - out->size()));
}

void OpenFile(const MemoryFile& file, InputFile& input) {
  std::string error;
  FUZZ_CHECK(input.Open(file.path(), &error) == InputFile::OpenResult::kOpened);
  // Were it read whole, this target would only repeat the log scan fuzzer.
  FUZZ_CHECK(input.Bytes(0, 1).size() <= InputFile::kWindow && "raise kFillerBase");
}

void FuzzBigLog(std::string_view data) {
  static MemoryFile file;
  static std::string text;  // the filler before the input is kept while its shape stays
  static Shape prefix_shape{};
  const Shape shape = ShapeOf(data);
  Shape key = shape;
  key.suffix = 0;
  if (text.empty() || !(key == prefix_shape)) {
    text.clear();
    AppendFiller(shape, shape.prefix, &text);
    prefix_shape = key;
  }
  text.resize(shape.prefix);
  text.append(data);
  AppendFiller(shape, shape.suffix, &text);
  file.Set(text);

  InputFile input;
  OpenFile(file, input);
  RecordReader from_file(input, SearchMode::kBlock);
  const ScanOutcome outcome = Scan(from_file);
  CheckOutcome(outcome);
  RecordReader in_memory(text, SearchMode::kBlock);
  CheckSameOutcome(Scan(in_memory), outcome);

  OpenFile(file, input);
  std::vector<RecordReader> readers = {
      RecordReader(input, SearchMode::kBlock),
      RecordReader(text, SearchMode::kBlock),
  };
  CheckReadersAgree(data, text, readers);
}

}  // namespace
}  // namespace tabrun::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tabrun::fuzz::FuzzBigLog(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
