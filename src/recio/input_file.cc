#include "recio/input_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace tabrun {
namespace {

// Files up to this size are read whole with one read call: for the many small logs of a big
// batch that is the cheapest way, and the buffer is kept for the next one.
constexpr std::uint64_t kReadWholeLimit = 4 << 20;

bool Exists(const std::string& name) {
  struct stat st;
  return stat(name.c_str(), &st) == 0;
}

// Reads up to `length` bytes at `offset`; returns how many arrived before the end of the file
// or an error.
std::size_t ReadAt(int fd, char* out, std::size_t length, std::uint64_t offset) {
  std::size_t have = 0;
  while (have < length) {
    const ssize_t got = pread(fd, out + have, length - have, static_cast<off_t>(offset + have));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    have += static_cast<std::size_t>(got);
  }
  return have;
}

}  // namespace

InputFile::OpenResult InputFile::Open(const std::string& name, std::string* error) {
  Close();
  // O_NONBLOCK keeps a fifo that was listed by accident from blocking the open.
  const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    const int open_errno = errno;
    if (!Exists(name)) return OpenResult::kMissing;
    *error = std::strerror(open_errno);
    return OpenResult::kFailed;
  }
  struct stat st;
  if (fstat(fd, &st) != 0) {
    *error = std::strerror(errno);
    close(fd);
    return OpenResult::kFailed;
  }
  if (!S_ISREG(st.st_mode)) {
    *error = S_ISDIR(st.st_mode) ? std::strerror(EISDIR) : "not a regular file";
    close(fd);
    return OpenResult::kFailed;
  }
  fd_ = fd;
  size_ = static_cast<std::uint64_t>(st.st_size);
  const bool whole = size_ <= kReadWholeLimit;
  buffer_.resize(whole ? std::max<std::size_t>(size_, kWindow) : kWindow);
  if (whole) {
    window_offset_ = 0;
    window_length_ = ReadAt(fd_, buffer_.data(), size_, 0);
    size_ = window_length_;  // a read error ends the content there
  } else {
    ReadWindow(0);
  }
  return OpenResult::kOpened;
}

void InputFile::ReadWindow(std::uint64_t offset) {
  window_offset_ = offset;
  const std::size_t want =
      static_cast<std::size_t>(std::min<std::uint64_t>(kWindow, size_ - offset));
  window_length_ = ReadAt(fd_, buffer_.data(), want, offset);
  if (window_length_ < want) size_ = offset + window_length_;
}

std::string_view InputFile::Bytes(std::uint64_t offset, std::size_t min_length) {
  if (offset >= size_) return {};
  const std::uint64_t need = offset + std::min<std::uint64_t>(min_length, size_ - offset);
  if (offset < window_offset_ || need > window_offset_ + window_length_) ReadWindow(offset);
  if (offset >= window_offset_ + window_length_) return {};
  const std::size_t start = static_cast<std::size_t>(offset - window_offset_);
  return {buffer_.data() + start, window_length_ - start};
}

bool InputFile::Close(std::string* error) {
  bool ok = true;
  if (fd_ >= 0) {
    if (close(fd_) != 0 && errno != EINTR) {
      ok = false;
      if (error != nullptr) *error = std::strerror(errno);
    }
    fd_ = -1;
  }
  size_ = 0;
  window_offset_ = 0;
  window_length_ = 0;
  // Do not keep a buffer that one unusually large file grew: the next files are small.
  if (buffer_.size() > kReadWholeLimit) std::vector<char>().swap(buffer_);
  return ok;
}

}  // namespace tabrun
