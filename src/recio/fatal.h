// The program's diagnostics on standard error.

#ifndef TABRUN_RECIO_FATAL_H_
#define TABRUN_RECIO_FATAL_H_

#include <string>
#include <string_view>

namespace tabrun {

// Exit status after a fatal I/O error.
inline constexpr int kFatalExitStatus = 1;

// Writes "tabrun: <message>" and a line feed to standard error in one write, the message as
// Printable writes it.
void PrintError(std::string_view message);

// `text` with each backslash doubled and the control characters written out, so that it shows
// what a name or a log holds: "\t", "\n", "\r", or "\x" and two hex digits.
std::string Printable(std::string_view text);

// Writes one line to standard error,
//   tabrun: unit <unit> (<file>): <what>: <reason>
// and ends the process at once with kFatalExitStatus. It flushes nothing: the caller writes
// out its outputs first.
[[noreturn]] void FatalIoError(std::string_view unit, std::string_view file, std::string_view what,
                               std::string_view reason);

// Writes "tabrun: out of memory" to standard error without allocating anything and ends the
// process at once with kFatalExitStatus.
[[noreturn]] void FatalOutOfMemory();

}  // namespace tabrun

#endif  // TABRUN_RECIO_FATAL_H_
