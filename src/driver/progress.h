// A progress line on standard error for long runs.

#ifndef TABRUN_DRIVER_PROGRESS_H_
#define TABRUN_DRIVER_PROGRESS_H_

#include <chrono>
#include <cstdint>

namespace tabrun {

// One self-overwriting line, "tabrun: <done> of <total> logs, <rate> MB/s", shown only when
// standard error is a terminal and only once the run has lasted over a second. It is taken
// away at the end, and before output that goes to the same terminal.
class Progress {
 public:
  explicit Progress(std::uint64_t total);
  ~Progress() { Erase(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Counts one more log, which held `bytes` bytes, and redraws the line at most every 0.2 s,
  // whether or not output has taken it away since the last draw.
  void Done(std::uint64_t bytes);

  // Takes the line away if it is shown and standard output is the same kind of terminal, so
  // that what is written there next starts on a clean line.
  void BeforeOutput() {
    if (shown_ && output_is_terminal_) Erase();
  }

  // Takes the line away if it is shown.
  void Erase();

 private:
  const std::uint64_t total_;
  const bool enabled_;
  const bool output_is_terminal_;
  bool shown_ = false;
  std::uint64_t done_ = 0;
  std::uint64_t bytes_ = 0;
  const std::chrono::steady_clock::time_point start_;
  double last_draw_ = 0;
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_PROGRESS_H_
