#include "recio/output_unit.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "recio/fatal.h"

namespace tabrun {
namespace {

constexpr std::size_t kFlushThreshold = 64 << 10;

OutputUnit* file_units = nullptr;

}  // namespace

OutputUnit::OutputUnit(std::string unit, std::string file)
    : unit_(std::move(unit)), file_(std::move(file)) {}

OutputUnit::OutputUnit(std::string unit, std::string file, int fd)
    : unit_(std::move(unit)), file_(std::move(file)), fd_(fd) {
  buffer_.reserve(kFlushThreshold + 1024);
  next_ = file_units;
  file_units = this;
}

OutputUnit::~OutputUnit() {
  if (fd_ >= 0) Flush();
  for (OutputUnit** link = &file_units; *link != nullptr; link = &(*link)->next_) {
    if (*link == this) {
      *link = next_;
      break;
    }
  }
}

std::unique_ptr<OutputUnit> OutputUnit::CreateFile(std::string unit, const std::string& path) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) FatalIoError(unit, path, "cannot open", std::strerror(errno));
  return std::make_unique<OutputUnit>(std::move(unit), path, fd);
}

void OutputUnit::Append(std::string_view text) { buffer_.append(text); }

void OutputUnit::EndRecord() {
  buffer_.push_back('\n');
  if (fd_ >= 0 && buffer_.size() >= kFlushThreshold) Flush();
}

bool OutputUnit::WriteOut() {
  std::size_t done = 0;
  while (done < buffer_.size()) {
    const ssize_t n = write(fd_, buffer_.data() + done, buffer_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      buffer_.erase(0, done);
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  buffer_.clear();
  return true;
}

void OutputUnit::Flush() {
  if (fd_ < 0 || failing_ || WriteOut()) return;
  const int write_errno = errno;
  failing_ = true;
  FatalIoError(unit_, file_, "cannot write", std::strerror(write_errno == 0 ? EIO : write_errno));
}

void OutputUnit::Close() {
  if (fd_ < 0) return;
  Flush();
  const int fd = fd_;
  fd_ = -1;
  if (close(fd) != 0 && errno != EINTR) {
    FatalIoError(unit_, file_, "cannot close", std::strerror(errno));
  }
}

void OutputUnit::FlushAllForExit() {
  for (OutputUnit* unit = file_units; unit != nullptr; unit = unit->next_) {
    if (unit->fd_ >= 0 && !unit->failing_) unit->WriteOut();
  }
}

}  // namespace tabrun
