#include "recio/output_unit.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

namespace tabrun {
namespace {

constexpr std::size_t kFlushThreshold = 64 << 10;

}  // namespace

OutputUnit::OutputUnit(int fd) : fd_(fd) { buffer_.reserve(kFlushThreshold + 1024); }

int OutputUnit::CreateFile(const std::string& path, std::string* error) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) *error = std::strerror(errno);
  return fd;
}

bool OutputUnit::Write(std::string_view text, std::string* error) {
  buffer_.append(text);
  return buffer_.size() < kFlushThreshold || Flush(error);
}

bool OutputUnit::Flush(std::string* error) {
  std::size_t done = 0;
  while (failure_.empty() && done < buffer_.size()) {
    const ssize_t n = write(fd_, buffer_.data() + done, buffer_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) failure_ = std::strerror(n < 0 ? errno : EIO);
    if (n > 0) done += static_cast<std::size_t>(n);
  }
  buffer_.erase(0, done);
  if (failure_.empty()) return true;
  *error = failure_;
  return false;
}

bool OutputUnit::Close(std::string* error) {
  if (!Flush(error)) return false;
  if (close(fd_) != 0 && errno != EINTR) {
    *error = std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace tabrun
