#include "recio/fatal.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace tabrun {

void PrintError(std::string_view message) {
  std::string line = "tabrun: ";
  line.append(message);
  line.push_back('\n');
  // One write, so that the line cannot be interleaved with anything else.
  ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
  (void)ignored;
}

void FatalIoError(std::string_view unit, std::string_view file, std::string_view what,
                  std::string_view reason) {
  std::string message = "unit ";
  message.append(unit).append(" (").append(file).append("): ").append(what);
  message.append(": ").append(reason);
  PrintError(message);
  std::_Exit(kFatalExitStatus);
}

}  // namespace tabrun
