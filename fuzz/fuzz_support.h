// What the fuzz targets share: a check that traps, a plain model of the record reader, the
// scan of one log into memory with the rules its output must keep, a driver that walks
// several readers through the same steps, and an in-memory file for the file-backed reader.

#ifndef TABRUN_FUZZ_FUZZ_SUPPORT_H_
#define TABRUN_FUZZ_FUZZ_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/log_scan.h"
#include "recio/fixed_text.h"
#include "recio/record_reader.h"

// Names the broken rule on stderr, then traps so that libFuzzer keeps the input.
#define FUZZ_CHECK(condition)                                                            \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      __builtin_trap();                                                                  \
    }                                                                                    \
  } while (0)

namespace tabrun::fuzz {

// The records of `text` as the reader's header defines them: up to each line feed, with a
// carriage return right before it dropped; a last line without line feed is a record too.
std::vector<std::string_view> SplitRecords(std::string_view text);

// The reader's contract and nothing more: an index into a list of records and an end-of-file
// flag. Copies are cheap; `records` must outlive every copy.
class ModelReader {
 public:
  explicit ModelReader(const std::vector<std::string_view>* records) : records_(records) {}
  bool Read(FixedText* line);
  void BackSpace();
  bool ReadUntil(const std::vector<std::string_view>& markers, FixedText* line);

 private:
  const std::vector<std::string_view>* records_;
  std::size_t next_ = 0;
  bool at_end_of_file_ = false;
};

// Everything one scan leaves behind. The batch starts from kBatchBefore.
struct ScanOutcome {
  ScanResult result = ScanResult::kDone;
  std::string bad_text;
  BatchState batch;
  std::string console;
  std::string results;
};

// Not zero, so that "left unchanged" and "counted once more" can be told apart.
inline constexpr BatchState kBatchBefore = {10.0f, 1.5f, 3};

// Scans `log` from where it stands into memory units, as the log "fuzz_run.log".
ScanOutcome Scan(RecordReader& log);

// Traps unless the two scans agree to the bit.
void CheckSameOutcome(const ScanOutcome& a, const ScanOutcome& b);

// Traps unless the scan wrote one log.res line of a known kind and length, the console line
// that goes with it, and changed the batch as that kind of line says.
void CheckOutcome(const ScanOutcome& outcome);

// Walks every reader in `readers` and a model of `text` through the steps that the first
// bytes of `script` encode (reads, steps back, searches for the scan's markers and for markers
// cut from `script`), then through the rest of the text. Traps as soon as one returns or reads
// something else than the model, or would read something else next. REQUIRES: every reader
// reads `text` and stands at its start.
void CheckReadersAgree(std::string_view script, std::string_view text,
                       std::vector<RecordReader>& readers);

// A file that lives in memory only, for the readers that read an InputFile.
class MemoryFile {
 public:
  MemoryFile();
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  // Makes the file hold exactly `content`, writing only from the first byte that differs
  // from what it held before.
  void Set(std::string_view content);

  // A name under which InputFile::Open finds the file.
  const std::string& path() const { return path_; }

 private:
  int fd_ = -1;
  std::string path_;
  std::string content_;
};

}  // namespace tabrun::fuzz

#endif  // TABRUN_FUZZ_FUZZ_SUPPORT_H_
