// Where the bytes of a text come from: an open file, or bytes the caller holds in memory.

#ifndef TABRUN_RECIO_BYTE_SOURCE_H_
#define TABRUN_RECIO_BYTE_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "os/file.h"

namespace tabrun {

// The bytes a LogText reads, at any offset, in any order.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // How many bytes there are, as far as the source can say; 0 also when it cannot tell (a file
  // in /proc says it is empty): the reader then reads until a read comes back short.
  virtual std::uint64_t size() const = 0;

  // Reads up to `length` bytes at `offset` into `out` and returns how many arrived: fewer than
  // `length` only at the end of the bytes or on an error, which ends them there. Sets *cold
  // when some of them had to come from the disk, and leaves it alone otherwise.
  virtual std::size_t ReadAt(std::uint64_t offset, char* out, std::size_t length, bool* cold) = 0;
};

// The bytes of an open file, read with pread: those in the page cache first, without waiting,
// so that it can tell whether the disk had to be read. It does not own the handle.
class FileBytes : public ByteSource {
 public:
  FileBytes() = default;
  FileBytes(int file, std::uint64_t size) : file_(file), size_(size) {}

  std::uint64_t size() const override { return size_; }
  std::size_t ReadAt(std::uint64_t offset, char* out, std::size_t length, bool* cold) override;

 private:
  int file_ = os::kNoFile;
  std::uint64_t size_ = 0;
};

// Bytes the caller holds in memory and keeps alive while they are read; they never come from
// the disk.
class MemoryBytes : public ByteSource {
 public:
  explicit MemoryBytes(std::string_view bytes) : bytes_(bytes) {}

  std::uint64_t size() const override { return bytes_.size(); }
  std::size_t ReadAt(std::uint64_t offset, char* out, std::size_t length, bool* cold) override;

 private:
  std::string_view bytes_;
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_BYTE_SOURCE_H_
