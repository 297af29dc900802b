#include "driver/progress.h"

#include <chrono>
#include <cstdio>
#include <string>

#include "os/file.h"

namespace tabrun {
namespace {

// The line appears once the run has lasted this long, and is redrawn at most this often.
constexpr double kFirstDraw = 1.0;
constexpr double kRedraw = 0.2;

// Carriage return, and erase to the end of the line.
constexpr char kClear[] = "\r\033[K";

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void WriteError(const char* text, std::size_t length) {
  std::size_t written;
  std::string ignored;
  os::WriteAll(os::kStandardError, {text, length}, &written, &ignored);
}

}  // namespace

Progress::Progress(std::uint64_t total)
    : total_(total),
      enabled_(os::IsTerminal(os::kStandardError)),
      output_is_terminal_(os::IsTerminal(os::kStandardOutput)),
      start_(std::chrono::steady_clock::now()) {}

void Progress::Done(std::uint64_t bytes) {
  ++done_;
  bytes_ += bytes;
  if (!enabled_) return;
  const double elapsed = SecondsSince(start_);
  // On the clock alone: output that takes the line away between two draws (a row on the same
  // terminal) must not bring it back with every row.
  if (elapsed < kFirstDraw || elapsed - last_draw_ < kRedraw) return;
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
