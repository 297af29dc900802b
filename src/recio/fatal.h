// The one way the program ends on an I/O failure.

#ifndef TABRUN_RECIO_FATAL_H_
#define TABRUN_RECIO_FATAL_H_

#include <string_view>

namespace tabrun {

// Exit status after a fatal I/O error.
inline constexpr int kFatalExitStatus = 1;

// Flushes every open output unit, writes one line to standard error,
//   tabrun: unit <unit> (<file>): <what>: <reason>
// and ends the process with kFatalExitStatus. Nothing else is ever written to standard error
// by the program itself.
[[noreturn]] void FatalIoError(std::string_view unit, std::string_view file, std::string_view what,
                               std::string_view reason);

// Writes "tabrun: <message>" and a line feed to standard error.
void PrintError(std::string_view message);

}  // namespace tabrun

#endif  // TABRUN_RECIO_FATAL_H_
