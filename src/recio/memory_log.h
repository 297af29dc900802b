// For tests: a text in an anonymous memory file, opened as a LogText.

#ifndef TABRUN_RECIO_MEMORY_LOG_H_
#define TABRUN_RECIO_MEMORY_LOG_H_

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "recio/log_text.h"

namespace tabrun {

class MemoryLog {
 public:
  explicit MemoryLog(std::string_view content, std::size_t window = LogText::kDefaultWindow)
      : text(window), fd_(memfd_create("log", MFD_CLOEXEC)) {
    for (std::size_t done = 0; done < content.size();) {
      const ssize_t n = write(fd_, content.data() + done, content.size() - done);
      if (n <= 0) break;
      done += static_cast<std::size_t>(n);
    }
    Reopen();
  }
  ~MemoryLog() { close(fd_); }

  // A path that opens the memory file.
  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }
  // Opens the memory file again in `text`, from its start.
  LogText::OpenResult Reopen() {
    std::string error;
    return text.Open(path(), &error);
  }
  // Cuts the file short behind the reader's back; false when that fails.
  bool Truncate(off_t length) { return ftruncate(fd_, length) == 0; }

  LogText text;

 private:
  int fd_;
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_MEMORY_LOG_H_
