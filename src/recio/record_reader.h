// Sequential record reading with step-back over one input file's bytes.

#ifndef TABRUN_RECIO_RECORD_READER_H_
#define TABRUN_RECIO_RECORD_READER_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "recio/fixed_text.h"

namespace tabrun {

class InputFile;

// How ReadUntil looks for its markers. Both give the same results; kRecordByRecord reads and
// tests every record in turn and serves as the reference for the faster kBlock.
enum class SearchMode { kBlock, kRecordByRecord };

// Reads the records of a text one at a time and steps back over them.
//
// A record is the text up to a line feed, which is not part of it; a carriage return right
// before that line feed belongs to the line end as well, any other carriage return is an
// ordinary character. A last line without a line feed is still a record, so a text of n line
// feeds holds n records, plus one if it does not end with a line feed.
//
// The reader stands between two records, or at end of file once a read has reported it.
// Step back (BackSpace) can go back over any number of records, down to the first one:
//   - at end of file, the first step back only leaves the end-of-file position (the reader
//     then stands after the last record) and each further one moves back one record, so
//     eight steps back after end of file make the last seven records readable again;
//   - at the start of the text a step back has no effect.
// A step back costs time in proportion to the length of the record stepped over; nothing is
// read again from the start.
class RecordReader {
 public:
  // Reads the text `data`, which must outlive the reader.
  explicit RecordReader(std::string_view data, SearchMode mode = SearchMode::kBlock);
  // Reads the open file `file`, which must stay open while the reader is used.
  explicit RecordReader(InputFile& file, SearchMode mode = SearchMode::kBlock);

  // Reads the next record into `line`: its first kRecordLength characters, blank-padded; the
  // rest of a longer record is skipped. Returns false at end of file and leaves `line` as it
  // was.
  bool Read(FixedText* line);

  // Steps back one record, as described above.
  void BackSpace();

  // Reads forward, from the next record on, until a record whose first kRecordLength columns
  // contain one of `markers`, and stores that record in `line`; the reader then stands after
  // it. Returns false at end of file, with `line` unchanged. The result is exactly that of
  // calling Read until a record contains a marker. REQUIRES: every marker is 1 to
  // kRecordLength characters long, holds no line feed or carriage return and does not end
  // with a blank (so that it cannot match the blank padding); at most kMaxMarkers markers,
  // each with static storage duration (the reader remembers them by address).
  bool ReadUntil(std::initializer_list<std::string_view> markers, FixedText* line);

  static constexpr int kMaxMarkers = 4;

 private:
  // The next marker hit at or after a record start, remembered so that a search for several
  // markers does not search the same bytes again for the one that is further away.
  struct HitCache {
    std::string_view marker;
    std::uint64_t from = 0;
    std::uint64_t hit = 0;
  };

  std::uint64_t size() const;
  // The bytes from `offset` on, at least min(min_length, size() - offset) of them; valid until
  // the next call.
  std::string_view Bytes(std::uint64_t offset, std::size_t min_length) const;
  // The offset of the first line feed at or after `from`, or size() when there is none.
  std::uint64_t NextLineFeed(std::uint64_t from) const;
  // The offset of the last line feed in [low, high), or kNone when there is none.
  std::uint64_t LastLineFeed(std::uint64_t low, std::uint64_t high) const;
  std::uint64_t StartOfRecordBefore(std::uint64_t position) const;

  bool ReadUntilRecordByRecord(std::initializer_list<std::string_view> markers, FixedText* line);
  std::uint64_t NextHit(std::string_view marker);
  std::uint64_t FindQualifyingHit(std::string_view marker, std::uint64_t from) const;

  std::string_view data_;
  InputFile* file_ = nullptr;  // when set, the bytes come from it instead of data_
  SearchMode mode_;
  std::uint64_t position_ = 0;  // offset of the next record's first byte
  bool at_end_of_file_ = false;
  HitCache cache_[kMaxMarkers];
  int cache_next_ = 0;
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_RECORD_READER_H_
