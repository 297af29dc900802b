// For tests: a text in memory opened as a LogText.

#ifndef TABRUN_TESTING_MEMORY_LOG_H_
#define TABRUN_TESTING_MEMORY_LOG_H_

#include <string>
#include <string_view>

#include "recio/byte_source.h"
#include "recio/log_text.h"

namespace tabrun {

// A copy of `content` read by `text` from memory, as if it were a file.
class MemoryLog {
 public:
  explicit MemoryLog(std::string_view content, std::size_t window = LogText::kDefaultWindow)
      : text(window), content_(content), bytes_(content_) {
    text.Open(bytes_);
  }
  MemoryLog(const MemoryLog&) = delete;
  MemoryLog& operator=(const MemoryLog&) = delete;

  LogText text;

 private:
  const std::string content_;
  MemoryBytes bytes_;
};

}  // namespace tabrun

#endif  // TABRUN_TESTING_MEMORY_LOG_H_
