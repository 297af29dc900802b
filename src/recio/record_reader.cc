#include "recio/record_reader.h"

#include <algorithm>
#include <cstring>

#include "recio/find_marker.h"
#include "recio/input_file.h"

namespace tabrun {
namespace {

constexpr std::uint64_t kNone = ~std::uint64_t{0};

// Backward scans for a line feed go in steps of this size.
constexpr std::size_t kStep = InputFile::kWindow / 2;

}  // namespace

RecordReader::RecordReader(std::string_view data, SearchMode mode) : data_(data), mode_(mode) {}

RecordReader::RecordReader(InputFile& file, SearchMode mode) : file_(&file), mode_(mode) {}

std::uint64_t RecordReader::size() const { return file_ != nullptr ? file_->size() : data_.size(); }

std::string_view RecordReader::Bytes(std::uint64_t offset, std::size_t min_length) const {
  if (file_ != nullptr) return file_->Bytes(offset, min_length);
  return offset < data_.size() ? data_.substr(offset) : std::string_view();
}

std::uint64_t RecordReader::NextLineFeed(std::uint64_t from) const {
  for (std::uint64_t at = from;;) {
    const std::string_view bytes = Bytes(at, 1);
    if (bytes.empty()) return size();
    const void* lf = std::memchr(bytes.data(), '\n', bytes.size());
    if (lf != nullptr) return at + (static_cast<const char*>(lf) - bytes.data());
    at += bytes.size();
  }
}

std::uint64_t RecordReader::LastLineFeed(std::uint64_t low, std::uint64_t high) const {
  high = std::min(high, size());
  while (high > low) {
    const std::uint64_t at = std::max(low, high >= kStep ? high - kStep : 0);
    const std::string_view bytes = Bytes(at, high - at).substr(0, high - at);
    const void* lf = memrchr(bytes.data(), '\n', bytes.size());
    if (lf != nullptr) return at + (static_cast<const char*>(lf) - bytes.data());
    high = at;
  }
  return kNone;
}

bool RecordReader::Read(FixedText* line) {
  if (position_ >= size()) {
    at_end_of_file_ = true;
    return false;
  }
  const std::uint64_t end = NextLineFeed(position_);
  // Up to kRecordLength + 1 bytes of the record: the one more shows a carriage return that
  // belongs to the line end.
  const std::size_t span =
      static_cast<std::size_t>(std::min<std::uint64_t>(end - position_, kRecordLength + 1));
  std::string_view content = Bytes(position_, span).substr(0, span);
  if (end < size() && content.size() == end - position_ && !content.empty() &&
      content.back() == '\r') {
    content.remove_suffix(1);
  }
  line->Assign(content.substr(0, kRecordLength));
  position_ = end < size() ? end + 1 : end;
  return true;
}

std::uint64_t RecordReader::StartOfRecordBefore(std::uint64_t position) const {
  // The record before `position` ends at the line feed just before it, or, for a last record
  // without a line feed, at the end of the text.
  const std::uint64_t end = Bytes(position - 1, 1).front() == '\n' ? position - 1 : position;
  const std::uint64_t lf = LastLineFeed(0, end);
  return lf == kNone ? 0 : lf + 1;
}

void RecordReader::BackSpace() {
  if (at_end_of_file_) {
    at_end_of_file_ = false;
    return;
  }
  if (position_ > 0) position_ = StartOfRecordBefore(position_);
}

bool RecordReader::ReadUntil(std::initializer_list<std::string_view> markers, FixedText* line) {
  if (mode_ == SearchMode::kRecordByRecord) return ReadUntilRecordByRecord(markers, line);
  std::uint64_t first = kNone;
  for (std::string_view marker : markers) first = std::min(first, NextHit(marker));
  if (first == kNone) {
    position_ = size();
    at_end_of_file_ = true;
    return false;
  }
  const std::uint64_t lf = LastLineFeed(position_, first);
  if (lf != kNone) position_ = lf + 1;
  return Read(line);
}

bool RecordReader::ReadUntilRecordByRecord(std::initializer_list<std::string_view> markers,
                                           FixedText* line) {
  FixedText record;
  while (Read(&record)) {
    for (std::string_view marker : markers) {
      if (Index(record.view(), marker) != 0) {
        *line = record;
        return true;
      }
    }
  }
  return false;
}

std::uint64_t RecordReader::NextHit(std::string_view marker) {
  for (const HitCache& entry : cache_) {
    if (entry.marker.data() == marker.data() && entry.marker.size() == marker.size() &&
        entry.from <= position_ && (entry.hit == kNone || position_ <= entry.hit)) {
      return entry.hit;
    }
  }
  HitCache& entry = cache_[cache_next_];
  cache_next_ = (cache_next_ + 1) % kMaxMarkers;
  entry = {marker, position_, FindQualifyingHit(marker, position_)};
  return entry.hit;
}

std::uint64_t RecordReader::FindQualifyingHit(std::string_view marker, std::uint64_t from) const {
  // A hit counts only when the whole marker lies within the first kRecordLength columns of
  // its record: at most `slack` bytes after the record's start. `from` is always the start
  // of a record that begins at or before the hit.
  const std::uint64_t slack = kRecordLength - marker.size();
  std::uint64_t at = from;
  for (;;) {
    const std::string_view bytes = Bytes(at, marker.size());
    if (bytes.size() < marker.size()) return kNone;
    const std::size_t found = FindMarker(bytes, marker);
    if (found == std::string_view::npos) {
      // The next window starts where a hit cut off by this one's end would begin.
      at += bytes.size() - (marker.size() - 1);
      continue;
    }
    const std::uint64_t hit = at + found;
    if (hit - from <= slack) return hit;
    // The record starts after the last line feed before the hit; look only as far back as a
    // qualifying start could be.
    if (LastLineFeed(std::max(from, hit - slack - 1), hit) != kNone) return hit;
    // This record has no qualifying hit: any later one in it stands further right.
    from = NextLineFeed(hit) + 1;
    at = from;
  }
}

}  // namespace tabrun
