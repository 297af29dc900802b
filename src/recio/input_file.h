// Read access to one input file's bytes, without holding more than a window of a big file.

#ifndef TABRUN_RECIO_INPUT_FILE_H_
#define TABRUN_RECIO_INPUT_FILE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tabrun {

// The bytes of one input file. A small file is read whole, with one read call, into a buffer
// that the object keeps for the next file; a big one is read a window at a time with pread,
// so memory does not grow with the size of the file and every byte costs what reading it
// costs. Reuse one InputFile for a whole batch.
class InputFile {
 public:
  enum class OpenResult {
    kOpened,
    kMissing,  // no file of that name exists (a dangling link or a loop counts as missing)
    kFailed,   // it exists but cannot be read; *error holds the reason
  };

  InputFile() = default;
  ~InputFile() { Close(); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // Opens `name` for reading, closing whatever was open before. A directory, or anything else
  // that is not a regular file, fails with a reason.
  OpenResult Open(const std::string& name, std::string* error);

  // Closes the file. Harmless when nothing is open. Returns false with the reason in *error
  // when the operating system reports a failure.
  bool Close(std::string* error = nullptr);

  // The number of bytes of the content. A read error, or a file that shrinks while it is
  // read, ends the content where the bytes stop: size() then becomes smaller.
  std::uint64_t size() const { return size_; }

  // The bytes from `offset` on, as far as they are buffered: at least
  // min(min_length, size() - offset) of them, and empty only at or past the end. The view
  // stays valid until the next call. REQUIRES: min_length <= kWindow.
  std::string_view Bytes(std::uint64_t offset, std::size_t min_length);

  static constexpr std::size_t kWindow = 256 << 10;

 private:
  void ReadWindow(std::uint64_t offset);

  int fd_ = -1;
  std::uint64_t size_ = 0;
  std::vector<char> buffer_;         // the whole of a small file, or the window of a big one
  std::uint64_t window_offset_ = 0;  // file offset of buffer_[0]
  std::size_t window_length_ = 0;    // valid bytes in buffer_
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_INPUT_FILE_H_
