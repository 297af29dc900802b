// Standard output, the progress line, and the program's one way out when an output fails.

#ifndef TABRUN_DRIVER_CONSOLE_H_
#define TABRUN_DRIVER_CONSOLE_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "driver/progress.h"
#include "recio/output_unit.h"

namespace tabrun {

// Standard output, with the progress line on standard error beside it. On a terminal every
// write goes out at once, so that a person sees each line as it happens; elsewhere output is
// collected into large blocks. Every write that fails ends the program with the fatal line
// for unit "*" (standard output).
class Console {
 public:
  Console();

  // Shows the progress of a run over `logs` logs from now on; the line is erased when the
  // console goes away.
  void StartProgress(std::uint64_t logs) { progress_.emplace(logs); }
  void Progressed(std::uint64_t bytes) { progress_->Done(bytes); }

  // Appends `text`, first taking the progress line away when it shares the terminal.
  void Write(std::string_view text);
  // Writes out what is buffered.
  void Flush();

  // Takes the progress line away, writes out what standard output and `also` (when given)
  // were given, as far as they can be, and ends the program with the fatal line
  //   tabrun: unit <unit> (<file>): <what>: <reason>
  [[noreturn]] void Fatal(std::string_view unit, std::string_view file, std::string_view what,
                          std::string_view reason, OutputUnit* also = nullptr);

 private:
  OutputUnit out_;
  const bool line_buffered_;
  std::optional<Progress> progress_;
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_CONSOLE_H_
