#include "recio/input_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace tabrun {
namespace {

// Files up to this size are read with one read call into the reused buffer: for the many
// small logs of a big batch that is cheaper than setting up and tearing down a mapping.
constexpr std::size_t kReadWholeLimit = 4 << 20;

// Mapped pages are handed back in steps of this size, so that a long forward search keeps
// about this much of the file resident.
constexpr std::uint64_t kReleaseStep = 16 << 20;

bool Exists(const std::string& name) {
  struct stat st;
  return stat(name.c_str(), &st) == 0;
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
  const std::size_t size = static_cast<std::size_t>(st.st_size);
  if (size > kReadWholeLimit && Map(size, error)) return OpenResult::kOpened;
  LoadIntoBuffer(size);
  return OpenResult::kOpened;
}

void InputFile::LoadIntoBuffer(std::size_t size) {
  // One byte more than the size that fstat gave shows whether the file has grown since.
  const std::size_t capacity = size + 1;
  if (buffer_.size() < capacity) buffer_.resize(capacity);
  std::size_t have = 0;
  for (;;) {
    if (have == buffer_.size()) buffer_.resize(buffer_.size() * 2);
    const ssize_t got = read(fd_, buffer_.data() + have, buffer_.size() - have);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;  // end of file, or a read error, which ends the content the same way
    have += static_cast<std::size_t>(got);
    // The size fstat gave, read in one go: no need to ask again for the end of the file.
    if (have == size && static_cast<std::size_t>(got) == size) break;
  }
  data_ = std::string_view(buffer_.data(), have);
}

bool InputFile::Map(std::size_t size, std::string* error) {
  void* p = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd_, 0);
  if (p == MAP_FAILED) {
    *error = std::strerror(errno);
    return false;
  }
  madvise(p, size, MADV_SEQUENTIAL);
  mapping_ = p;
  mapping_size_ = size;
  released_ = 0;
  data_ = std::string_view(static_cast<const char*>(p), size);
  return true;
}

std::string_view InputFile::Segment(std::uint64_t offset, std::size_t length) {
  if (offset >= data_.size()) return {};
  length = std::min<std::uint64_t>(length, data_.size() - offset);
  if (mapping_ == nullptr) return data_.substr(offset, length);
  if (segment_.size() < length) segment_.resize(length);
  std::size_t have = 0;
  while (have < length) {
    const ssize_t got = pread(fd_, segment_.data() + have, length - have, offset + have);
    if (got < 0 && errno == EINTR) continue;
    // The file shrank or cannot be read this way: the mapping still tells what it held.
    if (got <= 0) return data_.substr(offset, length);
    have += static_cast<std::size_t>(got);
  }
  return {segment_.data(), length};
}

void InputFile::Release(std::uint64_t offset) {
  if (mapping_ == nullptr || offset < released_ + 2 * kReleaseStep) return;
  // Keep one step behind the offset: a reader steps back a few records now and then.
  const std::uint64_t page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  const std::uint64_t upto =
      std::min<std::uint64_t>(offset - kReleaseStep, mapping_size_) / page * page;
  madvise(static_cast<char*>(mapping_) + released_, upto - released_, MADV_DONTNEED);
  released_ = upto;
}

bool InputFile::Close(std::string* error) {
  bool ok = true;
  if (mapping_ != nullptr) {
    munmap(mapping_, mapping_size_);
    mapping_ = nullptr;
    mapping_size_ = 0;
  }
  data_ = {};
  if (fd_ >= 0) {
    if (close(fd_) != 0 && errno != EINTR) {
      ok = false;
      if (error != nullptr) *error = std::strerror(errno);
    }
    fd_ = -1;
  }
  // Do not keep a buffer that one unusually large file grew: the next files are small.
  if (buffer_.size() > 2 * kReadWholeLimit) std::vector<char>().swap(buffer_);
  return ok;
}

}  // namespace tabrun
