#include "recio/output_unit.h"

#include "os/file.h"

namespace tabrun {
namespace {

constexpr std::size_t kFlushThreshold = 64 << 10;

}  // namespace

OutputUnit::OutputUnit(int fd) : fd_(fd) { buffer_.reserve(kFlushThreshold + 1024); }

int OutputUnit::CreateFile(const std::string& path, std::string* error) {
  return os::CreateFile(path, error);
}

bool OutputUnit::Write(std::string_view text, std::string* error) {
  buffer_.append(text);
  return buffer_.size() < kFlushThreshold || Flush(error);
}

bool OutputUnit::Flush(std::string* error) {
  std::size_t done = 0;
  if (failure_.empty()) os::WriteAll(fd_, buffer_, &done, &failure_);
  buffer_.erase(0, done);
  if (failure_.empty()) return true;
  *error = failure_;
  return false;
}

bool OutputUnit::Close(std::string* error) {
  if (!Flush(error)) return false;
  return os::CloseFile(fd_, error);
}

}  // namespace tabrun
