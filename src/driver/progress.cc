#include "driver/progress.h"

#include <unistd.h>

#include <cstdio>

namespace tabrun {
namespace {

// The line appears once the run has lasted this long, and is redrawn at most this often.
constexpr double kFirstDraw = 1.0;
constexpr double kRedraw = 0.2;

// Carriage return, and erase to the end of the line.
constexpr char kClear[] = "\r\033[K";

double SecondsSince(const timespec& start) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec - start.tv_sec) + (now.tv_nsec - start.tv_nsec) / 1e9;
}

void WriteError(const char* text, std::size_t length) {
  ssize_t ignored = write(STDERR_FILENO, text, length);
  (void)ignored;
}

}  // namespace

Progress::Progress(std::uint64_t total)
    : total_(total),
      enabled_(isatty(STDERR_FILENO) == 1),
      output_is_terminal_(isatty(STDOUT_FILENO) == 1) {
  clock_gettime(CLOCK_MONOTONIC, &start_);
}

void Progress::Done(std::uint64_t bytes) {
  ++done_;
  bytes_ += bytes;
  if (!enabled_) return;
  const double elapsed = SecondsSince(start_);
  if (elapsed < kFirstDraw || (shown_ && elapsed - last_draw_ < kRedraw)) return;
  last_draw_ = elapsed;
  char line[128];
  const int length =
      std::snprintf(line, sizeof line, "%stabrun: %llu of %llu logs, %.1f MB/s", kClear,
                    static_cast<unsigned long long>(done_), static_cast<unsigned long long>(total_),
                    static_cast<double>(bytes_) / 1e6 / elapsed);
  WriteError(line, static_cast<std::size_t>(length));
  shown_ = true;
}

void Progress::Erase() {
  if (!shown_) return;
  WriteError(kClear, sizeof kClear - 1);
  shown_ = false;
}

}  // namespace tabrun
