// For tests: a text in a temporary file of its own, opened as a LogText.

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

#include "recio/log_text.h"

namespace tabrun {

// The file is removed when the MemoryLog goes away. Standard C++ only, so that it works on
// every platform the program builds for.
class MemoryLog {
 public:
  explicit MemoryLog(std::string_view content, std::size_t window = LogText::kDefaultWindow)
      : text(window), path_(UniquePath()) {
    std::ofstream(path_, std::ios::binary).write(content.data(), std::ssize(content));
    Reopen();
  }
  ~MemoryLog() {
    text.Close();
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  // The path of the file.
  std::string path() const { return path_.string(); }
  // Opens the file again in `text`, from its start.
  LogText::OpenResult Reopen() {
    std::string error;
    return text.Open(path(), &error);
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
