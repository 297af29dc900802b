// For tests: a text in memory, or in a scratch file of its own, opened as a LogText.

#ifndef TABRUN_TESTING_MEMORY_LOG_H_
#define TABRUN_TESTING_MEMORY_LOG_H_

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

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

// A text in a file of its own, for the tests that need the disk; the file is removed when the
// ScratchLog goes away. Standard C++ only, so that it works on every platform the program
// builds for.
class ScratchLog {
 public:
  explicit ScratchLog(std::string_view content, std::size_t window = LogText::kDefaultWindow)
      : text(window), path_(UniquePath()) {
    std::ofstream(path_, std::ios::binary).write(content.data(), std::ssize(content));
    std::string error;
    text.Open(path_.string(), &error);
  }
  ~ScratchLog() {
    text.Close();
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  // Cuts the file short behind the reader's back; false when that fails.
  bool Truncate(std::uint64_t length) {
    std::error_code error;
    std::filesystem::resize_file(path_, length, error);
    return !error;
  }

  LogText text;

 private:
  // A name no other test process picks: a random start, then one more per file.
  static std::filesystem::path UniquePath() {
    static std::atomic<std::uint64_t> next{std::random_device{}() * std::uint64_t{1000003}};
    std::error_code ignored;
    return std::filesystem::temp_directory_path(ignored) /
           ("tabrun-test-" + std::to_string(next++) + ".log");
  }

  std::filesystem::path path_;
};

}  // namespace tabrun

#endif  // TABRUN_TESTING_MEMORY_LOG_H_
