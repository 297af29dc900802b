#include "recio/shell.h"

#include <cstdlib>
#include <string>

#include "recio/fixed_text.h"

namespace tabrun {

int RunShellCommand(std::string_view command) {
  const std::string text(TrimRight(command));
  return std::system(text.c_str());
}

}  // namespace tabrun
