#include "recio/log_text.h"

#include <algorithm>
#include <cstring>

#include "os/bytes.h"
#include "recio/find_marker.h"

namespace tabrun {
LogText::LogText(std::size_t window) : window_(std::max(window, kMinWindow)) {}

LogText::OpenResult LogText::Open(int directory, const std::string& path, std::string* error,
                                  Stream stream) {
  Close();
  cold_ = false;
  // The open does not wait, so that a fifo listed by accident cannot stop the run.
  int fd = os::kNoFile;
  const OpenResult opened = os::OpenForReading(directory, path, &fd, error);
  if (opened != OpenResult::kOpened) return opened;
  os::FileStatus status;
  const bool described = os::Describe(fd, &status, error);
  if (described) described_ = status;
  if (!described || status.kind == os::FileKind::kDirectory) {
    if (described) *error = os::IsDirectoryText();
    os::CloseFile(fd);
    return OpenResult::kFailed;
  }
  fd_ = fd;
  if (status.kind != os::FileKind::kRegular) {
    if (status.kind != os::FileKind::kPipe) stream = Stream::kWhatIsThere;
    if (ReadStream(stream, error)) return OpenResult::kOpened;
    Close();
    return OpenResult::kFailed;
  }
  file_ = FileBytes(fd_, status.size);
  Attach(file_);
  if (status.size != 0 || size_ == 0) modified_ = status.modified;
  return OpenResult::kOpened;
}

void LogText::Open(ByteSource& bytes) {
  Close();
  cold_ = false;
  Attach(bytes);
}

void LogText::Attach(ByteSource& source) {
  source_ = &source;
  size_ = source.size();
  // Files in /proc, and some on network and FUSE file systems, say they are empty and still
  // hold bytes: such a file is read to its end to learn its length. Fill ends the text at the
  // first window that comes back short.
  if (size_ == 0) {
    size_ = kNone;
    for (std::uint64_t offset = 0; size_ == kNone; offset += window_) Fill(offset);
  }
}

bool LogText::ReadStream(Stream stream, std::string* error) {
  AllocateWindow();
  const bool to_end = stream == Stream::kPipeToItsEnd;
  // The window holds the text from offset 0 for as long as it is not full: the bytes are
  // never read again, as a pipe cannot be.
  std::uint64_t have = 0;
  int scratch = os::kNoFile;
  for (;;) {
    if (have % window_ == 0 && have > 0) {
      if (!to_end) break;
      // Full: what the window holds goes to the scratch file, which the text is read from.
      if (scratch == os::kNoFile && (scratch = os::CreateScratchFile(error)) == os::kNoFile) {
        return false;
      }
      std::size_t written = 0;
      if (!os::WriteAll(scratch, {buffer_.get(), window_}, &written, error)) {
        os::CloseFile(scratch);
        return false;
      }
    }
    const auto at = static_cast<std::size_t>(have % window_);
    const std::int64_t got = os::ReadNext(fd_, buffer_.get() + at, window_ - at, to_end);
    if (got <= 0) break;  // the end, nothing there now, or an error: the text ends here
    have += static_cast<std::uint64_t>(got);
  }
  size_ = have;
  if (scratch == os::kNoFile) {
    // The window holds the whole text: the source is never read.
    file_ = FileBytes(fd_, have);
    source_ = &file_;
    buffer_offset_ = 0;
    buffer_length_ = static_cast<std::size_t>(have);
    return true;
  }
  std::size_t written = 0;
  if (!os::WriteAll(scratch, {buffer_.get(), static_cast<std::size_t>(have % window_)}, &written,
                    error)) {
    os::CloseFile(scratch);
    return false;
  }
  os::CloseFile(fd_);
  fd_ = scratch;
  file_ = FileBytes(fd_, have);
  source_ = &file_;
  return true;
}

bool LogText::Close(std::string* error) {
  bool ok = true;
  if (fd_ >= 0) {
    ok = os::CloseFile(fd_, error);
    fd_ = os::kNoFile;
  }
  source_ = nullptr;
  described_ = {};
  modified_.reset();
  size_ = 0;
  buffer_offset_ = 0;
  buffer_length_ = 0;
  return ok;
}

void LogText::AllocateWindow() {
  // Left uninitialised, as make_unique_for_overwrite would (which libc++ 14 lacks).
  if (!buffer_) buffer_.reset(new char[window_]);
}

void LogText::Fill(std::uint64_t offset) {
  AllocateWindow();
  const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(window_, size_ - offset));
  buffer_offset_ = offset;
  buffer_length_ = source_->ReadAt(offset, buffer_.get(), want, &cold_);
  if (buffer_length_ < want) size_ = offset + buffer_length_;
}

std::string_view LogText::Bytes(std::uint64_t offset, std::size_t min_length) {
  if (offset >= size_) return {};
  const std::uint64_t need = std::min<std::uint64_t>(min_length, size_ - offset);
  if (offset < buffer_offset_ || offset + need > buffer_offset_ + buffer_length_) Fill(offset);
  if (offset >= buffer_offset_ + buffer_length_) return {};
  const auto start = static_cast<std::size_t>(offset - buffer_offset_);
  return {buffer_.get() + start, buffer_length_ - start};
}

std::uint64_t LogText::LineFeedAtOrAfter(std::uint64_t from) {
  for (std::uint64_t at = from;;) {
    const std::string_view bytes = Bytes(at, 1);
    if (bytes.empty()) return size_;
    const void* lf = std::memchr(bytes.data(), '\n', bytes.size());
    if (lf != nullptr) return at + (static_cast<const char*>(lf) - bytes.data());
    at += bytes.size();
  }
}

std::uint64_t LogText::LastLineFeed(std::uint64_t low, std::uint64_t high, int n) {
  const std::uint64_t step = window_ / 2;
  high = std::min(high, size_);
  while (high > low) {
    const std::uint64_t at = std::max(low, high > step ? high - step : 0);
    const std::string_view bytes = Bytes(at, high - at).substr(0, high - at);
    // Every line feed of this stretch, from its end on: records are short, windows long.
    for (std::size_t end = bytes.size(); end > 0;) {
      const char* lf = os::LastByte(bytes.data(), '\n', end);
      if (lf == nullptr) break;
      end = static_cast<std::size_t>(lf - bytes.data());
      if (--n == 0) return at + end;
    }
    high = at;
  }
  return kNone;
}

std::uint64_t LogText::NextRecord(std::uint64_t at) {
  const std::uint64_t lf = LineFeedAtOrAfter(at);
  return lf < size_ ? lf + 1 : size_;
}

std::uint64_t LogText::RecordsAbove(std::uint64_t at, int n) {
  at = std::min(at, size_);
  if (at == 0 || n <= 0) return at;
  // The record above `at` ends at the line feed just before it, or, for a last record without
  // a line feed, at the end of the text; each record further up ends at the line feed before
  // the start of the one below it.
  const std::string_view before = Bytes(at - 1, 1);
  const std::uint64_t end = !before.empty() && before.front() == '\n' ? at - 1 : at;
  const std::uint64_t lf = LastLineFeed(0, end, n);
  return lf == kNone ? 0 : lf + 1;
}

FixedText LogText::Record(std::uint64_t at) {
  // Up to one column more than a record holds, and its line feed: enough to see whether a
  // carriage return belongs to the line end.
  std::string_view bytes = Bytes(at, kRecordLength + 2);
  bytes = bytes.substr(0, kRecordLength + 2);
  const std::size_t lf = bytes.find('\n');
  if (lf != std::string_view::npos) {
    bytes = bytes.substr(0, lf);
    if (!bytes.empty() && bytes.back() == '\r') bytes.remove_suffix(1);
  }
  return FixedText(bytes.substr(0, kRecordLength));
}

std::vector<std::string> LogText::LastRecords(int n) {
  std::vector<std::string> records;
  for (std::uint64_t at = RecordsAbove(size_, n); at < size_; at = NextRecord(at)) {
    records.emplace_back(Record(at).Trimmed());
  }
  return records;
}

std::string LogText::WholeRecord(std::uint64_t at, std::size_t limit) {
  std::string record;
  while (record.size() < limit) {
    std::string_view bytes = Bytes(at + record.size(), 1);
    if (bytes.empty()) break;
    bytes = bytes.substr(0, limit - record.size());
    const std::size_t lf = bytes.find('\n');
    record.append(bytes.substr(0, lf));
    if (lf != std::string_view::npos) {
      if (record.ends_with('\r')) record.pop_back();
      break;
    }
  }
  return record;
}

namespace {

// The bytes of `word` that equal `byte`: the high bit of each such byte set, nothing else.
std::uint64_t BytesEqual(std::uint64_t word, char byte) {
  constexpr std::uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;
  const std::uint64_t x = word ^ (0x0101010101010101ull * static_cast<unsigned char>(byte));
  return ~(((x & kLow7) + kLow7) | x) & ~kLow7;
}

// True when each of the 8 bytes at `data` is a blank, a carriage return or a line feed.
bool AllBlank8(const char* data) {
  std::uint64_t word;
  std::memcpy(&word, data, sizeof word);
  return (BytesEqual(word, ' ') | BytesEqual(word, '\r') | BytesEqual(word, '\n')) ==
         0x8080808080808080ull;
}

}  // namespace

std::uint64_t LogText::LastContentByte(std::uint64_t end) {
  while (end > 0) {
    const std::uint64_t at = end > window_ ? end - window_ : 0;
    const std::string_view bytes = Bytes(at, end - at).substr(0, end - at);
    std::size_t i = bytes.size();
    // A blank tail is long: eight bytes at a time while they are all blank.
    while (i >= 8 && AllBlank8(bytes.data() + i - 8)) i -= 8;
    for (; i > 0; --i) {
      const char c = bytes[i - 1];
      if (c != ' ' && c != '\r' && c != '\n') return at + i - 1;
    }
    end = at;
  }
  return kNone;
}

std::optional<std::uint64_t> LogText::LastNonBlankRecord() {
  for (std::uint64_t end = size_; end > 0;) {
    const std::uint64_t content = LastContentByte(end);
    if (content == kNone) return {};
    const std::uint64_t lf = LastLineFeed(0, content);
    const std::uint64_t at = lf == kNone ? 0 : lf + 1;
    // A record whose bytes past its first kRecordLength columns alone are not blank counts as
    // blank: the search goes on above it.
    if (Record(at).view().find_last_not_of(" \r") != std::string_view::npos) return at;
    end = at;
  }
  return {};
}

bool LogText::EndsInsideRecord() {
  if (size_ == 0) return false;
  const std::string_view last = Bytes(size_ - 1, 1);
  return !last.empty() && last.front() != '\n';
}

std::uint64_t LogText::FirstHit(std::string_view marker, std::uint64_t from, std::uint64_t limit) {
  // A hit counts only when the whole marker lies within the first kRecordLength columns of
  // its record: at most `slack` bytes after the record's start. `from` is the start of a
  // record at or before every hit looked at.
  const std::uint64_t slack = kRecordLength - marker.size();
  std::uint64_t at = from;
  while (at < limit) {
    std::string_view bytes = Bytes(at, marker.size());
    if (bytes.size() < marker.size()) return kNone;
    // Hits from `limit` on are not wanted: the caller has one before them.
    if (limit - at < bytes.size()) bytes = bytes.substr(0, limit - at + marker.size() - 1);
    const std::size_t found = FindMarker(bytes, marker);
    if (found == std::string_view::npos) {
      // The next search starts where a hit cut off by this one's end would begin.
      at += bytes.size() - (marker.size() - 1);
      continue;
    }
    const std::uint64_t hit = at + found;
    if (hit - from <= slack || LastLineFeed(hit - slack - 1, hit) != kNone) return hit;
    // No later hit in this record can stand further left: go on from the next record.
    from = at = NextRecord(hit);
  }
  return kNone;
}

std::uint64_t LogText::Find(std::uint64_t from, std::span<const std::string_view> markers,
                            std::uint64_t limit) {
  // Each marker is searched only up to the best hit so far, so looking for several markers
  // costs each of them no more than the distance to the nearest hit. A hit at or past `limit`
  // may still lie in a record that starts before it.
  const std::uint64_t end = limit == kNone ? kNone : limit + kRecordLength;
  std::uint64_t best = end;
  for (std::string_view marker : markers) best = std::min(best, FirstHit(marker, from, best));
  if (best == end || best == kNone) return std::min(size_, limit);
  const std::uint64_t lf = LastLineFeed(from, best);
  const std::uint64_t at = lf == kNone ? from : lf + 1;
  return at < limit ? at : std::min(size_, limit);
}

std::optional<LogText::Hit> LogText::FindRecord(std::uint64_t from,
                                                std::span<const std::string_view> markers,
                                                std::uint64_t limit) {
  const std::uint64_t at = Find(from, markers, limit);
  if (at >= size_ || at >= limit) return {};
  // A record that the file no longer holds reads as blanks, and so holds no marker.
  const Hit hit{at, Record(at)};
  for (std::string_view marker : markers) {
    if (Index(hit.record.view(), marker) != 0) return hit;
  }
  return {};
}

}  // namespace tabrun
