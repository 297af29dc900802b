// One input file seen as a text of records addressed by byte offset.

#ifndef TABRUN_RECIO_LOG_TEXT_H_
#define TABRUN_RECIO_LOG_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "os/file.h"
#include "recio/byte_source.h"
#include "recio/fixed_text.h"

namespace tabrun {

// The records of one open file, or of bytes in memory, read through one window of bytes that is
// refilled from its ByteSource, so that memory does not grow with the size of the file.
//
// A record is the text up to a line feed, which is not part of it; a carriage return right
// before that line feed belongs to the line end as well, any other carriage return is an
// ordinary character. A last line without a line feed is still a record. A record is named by
// the offset of its first byte; size() names the end of the text, after the last record.
//
// Every offset passed in must be a record start or size(). Reuse one LogText for a whole
// batch: its window is kept from one file to the next.
class LogText {
 public:
  // kMissing: no file of that name exists (a dangling link, a loop and a name holding a NUL
  // byte count as missing); kFailed: it exists but cannot be read.
  using OpenResult = os::OpenResult;

  static constexpr std::size_t kDefaultWindow = 256 << 10;
  // The smallest window: two whole records of kRecordLength columns and their line ends.
  static constexpr std::size_t kMinWindow = 2 * (kRecordLength + 2);

  // REQUIRES: window >= kMinWindow.
  explicit LogText(std::size_t window = kDefaultWindow);
  ~LogText() { Close(); }
  LogText(const LogText&) = delete;
  LogText& operator=(const LogText&) = delete;

  // How much of a pipe or a device is read: the bytes there when it is opened, at most one
  // window of them (a device such as /dev/zero never ends), or, for a pipe, all it gives until
  // its writer closes it, as much as that is.
  enum class Stream { kWhatIsThere, kPipeToItsEnd };

  // Opens `path`, relative to the open directory `directory` (or to the working directory
  // for os::kWorkingDirectory), for reading, closing whatever was open before, and puts the
  // reason in *error when it cannot. A directory fails. Anything else that is not a regular
  // file (a named pipe, a device) is read at once from where it stands, as `stream` says, and
  // its text is those bytes: a pipe without a writer and /dev/null are empty. A pipe read to
  // its end beyond one window goes to a scratch file, so memory stays that of one window. A
  // regular file that says it is empty is read to its end at once, to learn how long it is.
  OpenResult Open(int directory, const std::string& path, std::string* error,
                  Stream stream = Stream::kWhatIsThere);
  OpenResult Open(const std::string& path, std::string* error) {
    return Open(os::kWorkingDirectory, path, error);
  }

  // Reads the text of `bytes`, closing whatever was open before. The caller keeps `bytes` alive
  // until the next Open or Close. A source that says it is empty is read to its end at once.
  void Open(ByteSource& bytes);

  // Closes the file; harmless when nothing is open. Returns false with the operating
  // system's reason in *error when the close fails.
  bool Close(std::string* error = nullptr);

  // True when some bytes read since the last Open had to come from the disk: they were not in
  // the page cache. Close leaves it as it is.
  bool cold() const { return cold_; }

  // True when the open file is the file `identity` names.
  bool Is(const os::FileIdentity& identity) const { return identity == described_.identity; }

  // What the system said of the file that Open opened last, before any of its bytes was read:
  // also of a directory, which Open refuses. All zero when Open described nothing, and after
  // Close.
  const os::FileStatus& described() const { return described_; }

  // When the open file was last modified, in seconds since 1970-01-01 00:00:00 UTC, for a
  // regular file whose size the system states; none for bytes in memory, a pipe, a device and
  // a file that says it is empty and still holds bytes (as those in /proc do): their times are
  // not when their bytes were written.
  std::optional<std::int64_t> modified() const { return modified_; }

  // The length of the text in bytes. A file that turns out shorter than it said, or a read
  // error, ends the text where the bytes stopped: size() then shrinks to that point.
  std::uint64_t size() const { return size_; }

  // The start of the first record at or after `from` whose first kRecordLength columns hold
  // the whole of one of `markers`; size() when there is none. REQUIRES: each marker is 1 to
  // kRecordLength bytes long and holds no line feed.
  std::uint64_t Find(std::uint64_t from, std::initializer_list<std::string_view> markers) {
    return Find(from, {markers.begin(), markers.size()}, kNone);
  }
  // The same, for records that start before `limit`: min(limit, size()) when there is none.
  std::uint64_t Find(std::uint64_t from, std::span<const std::string_view> markers,
                     std::uint64_t limit);

  // The record Find(from, markers) names, read: where it starts and its first kRecordLength
  // columns. None when there is no such record, and when the file has changed under the reader
  // since it was searched: a file cut short ends where its bytes stopped, for every search,
  // and a record read again must still hold one of `markers`.
  struct Hit {
    std::uint64_t at;
    FixedText record;
  };
  std::optional<Hit> FindRecord(std::uint64_t from,
                                std::initializer_list<std::string_view> markers) {
    return FindRecord(from, {markers.begin(), markers.size()}, kNone);
  }
  // The same, for records that start before `limit`.
  std::optional<Hit> FindRecord(std::uint64_t from, std::span<const std::string_view> markers,
                                std::uint64_t limit);

  // The start of the record `n` records above `at`, or 0 when there are fewer than n records
  // above it. From size(), the first record above is the last record of the text.
  std::uint64_t RecordsAbove(std::uint64_t at, int n);

  // The start of the record after the one at `at`, or size() after the last one.
  // REQUIRES: at < size().
  std::uint64_t NextRecord(std::uint64_t at);

  // The record at `at`: its first kRecordLength columns, blank-padded.
  // REQUIRES: at < size().
  FixedText Record(std::uint64_t at);

  // The last `n` records of the text (all of them when it has fewer), in order, each cut at
  // kRecordLength columns and without trailing blanks.
  std::vector<std::string> LastRecords(int n);

  // The record at `at` whole, past kRecordLength columns too, up to `limit` bytes, without its
  // line end. REQUIRES: at < size().
  std::string WholeRecord(std::uint64_t at, std::size_t limit);

  // The start of the last record that holds something besides blanks and carriage returns in
  // its first kRecordLength columns; none when no record does. It reads the bytes once, from
  // the end back, however many blank records end the text.
  std::optional<std::uint64_t> LastNonBlankRecord();

  // True when the text does not end in a line feed: its last record was cut in the middle,
  // or is still being written. False for an empty text.
  bool EndsInsideRecord();

  // Stands for "no limit" where an offset limits a search.
  static constexpr std::uint64_t kNone = ~std::uint64_t{0};

 private:
  // The bytes from `offset` on, as far as the window holds them: at least
  // min(min_length, size() - offset) of them, empty at or past the end. Valid until the next
  // call. REQUIRES: min_length <= window.
  std::string_view Bytes(std::uint64_t offset, std::size_t min_length);
  // Makes the window on the first read: a worker that never reads costs no window.
  void AllocateWindow();
  void Fill(std::uint64_t offset);
  // Reads the open stream fd_ as Open says; false with the reason in *error when its bytes
  // cannot be kept.
  bool ReadStream(Stream stream, std::string* error);
  // Takes the text from `source`; a source that says it is empty is read to its end.
  void Attach(ByteSource& source);
  // The last byte before `end` that is not a blank, a carriage return or a line feed, or kNone.
  std::uint64_t LastContentByte(std::uint64_t end);
  std::uint64_t LineFeedAtOrAfter(std::uint64_t from);
  // The offset of the n-th line feed in [low, high) counted back from `high`, or kNone when
  // there are fewer. REQUIRES: n >= 1.
  std::uint64_t LastLineFeed(std::uint64_t low, std::uint64_t high, int n = 1);
  std::uint64_t FirstHit(std::string_view marker, std::uint64_t from, std::uint64_t limit);

  const std::size_t window_;
  int fd_ = -1;
  FileBytes file_;                // the bytes of fd_
  ByteSource* source_ = nullptr;  // the bytes of the text: file_ or the caller's
  std::uint64_t size_ = 0;
  std::unique_ptr<char[]> buffer_;   // window_ bytes, made on the first read
  std::uint64_t buffer_offset_ = 0;  // file offset of buffer_[0]
  std::size_t buffer_length_ = 0;    // valid bytes in buffer_
  os::FileStatus described_;         // the open file
  std::optional<std::int64_t> modified_;
  bool cold_ = false;
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_LOG_TEXT_H_
