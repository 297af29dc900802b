#include "recio/record_reader.h"

#include <algorithm>
#include <cstring>

#include "recio/find_marker.h"
#include "recio/input_file.h"

namespace tabrun {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

// A long forward search proceeds in segments of this size: small enough to stay in the
// processor's cache between being read and being searched.
constexpr std::size_t kSearchSegment = 256 << 10;

}  // namespace

RecordReader::RecordReader(std::string_view data, InputFile* file, SearchMode mode)
    : data_(data), file_(file), mode_(mode) {}

std::size_t RecordReader::EndOfLine(std::size_t position) const {
  const void* lf = std::memchr(data_.data() + position, '\n', data_.size() - position);
  return lf == nullptr ? data_.size() : static_cast<const char*>(lf) - data_.data();
}

bool RecordReader::Read(FixedText* line) {
  if (position_ >= data_.size()) {
    at_end_of_file_ = true;
    return false;
  }
  const std::size_t end = EndOfLine(position_);
  std::size_t content_end = end;
  if (end < data_.size() && end > position_ && data_[end - 1] == '\r') --content_end;
  const std::size_t length = std::min<std::size_t>(content_end - position_, kRecordLength);
  line->Assign(data_.substr(position_, length));
  position_ = end < data_.size() ? end + 1 : end;
  if (file_ != nullptr) file_->Release(position_);
  return true;
}

std::size_t RecordReader::StartOfRecordBefore(std::size_t position) const {
  // The record before `position` ends at the line feed just before it, or, for a last record
  // without a line feed, at the end of the text.
  const std::size_t end = data_[position - 1] == '\n' ? position - 1 : position;
  const void* lf = memrchr(data_.data(), '\n', end);
  return lf == nullptr ? 0 : static_cast<const char*>(lf) - data_.data() + 1;
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
  std::size_t first = kNone;
  for (std::string_view marker : markers) first = std::min(first, NextHit(marker));
  if (first == kNone) {
    position_ = data_.size();
    at_end_of_file_ = true;
    return false;
  }
  const void* lf = memrchr(data_.data() + position_, '\n', first - position_);
  if (lf != nullptr) position_ = static_cast<const char*>(lf) - data_.data() + 1;
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

std::size_t RecordReader::NextHit(std::string_view marker) {
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

std::size_t RecordReader::FindQualifyingHit(std::string_view marker, std::size_t from) const {
  // A hit counts only when the whole marker lies within the first kRecordLength columns of
  // its record: at most `slack` bytes after the record's start. `from` is always the start
  // of a record that begins at or before the hit.
  const std::size_t slack = kRecordLength - marker.size();
  std::size_t at = from;
  while (at < data_.size()) {
    const std::size_t window_end = std::min(data_.size(), at + kSearchSegment + marker.size() - 1);
    const std::string_view window =
        file_ != nullptr ? file_->Segment(at, window_end - at) : data_.substr(at, window_end - at);
    const std::size_t found = FindMarker(window, marker);
    if (found == kNone) {
      at += kSearchSegment;
      if (file_ != nullptr) file_->Release(at);
      continue;
    }
    const std::size_t hit = at + found;
    if (hit - from <= slack) return hit;
    // The record starts after the last line feed before the hit; look only as far back as a
    // qualifying start could be.
    const std::size_t low = std::max(from, hit - slack - 1);
    if (memrchr(data_.data() + low, '\n', hit - low) != nullptr) return hit;
    // This record has no qualifying hit: any later one in it stands further right.
    from = EndOfLine(hit) + 1;
    at = from;
  }
  return kNone;
}

}  // namespace tabrun
