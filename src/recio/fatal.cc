#include "recio/fatal.h"

#include <string>

#include "os/file.h"
#include "os/process.h"

namespace tabrun {

std::string Printable(std::string_view text) {
  std::string printable;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '\\':
        printable += "\\\\";
        break;
      case '\t':
        printable += "\\t";
        break;
      case '\n':
        printable += "\\n";
        break;
      case '\r':
        printable += "\\r";
        break;
      default:
        if (byte >= 0x20 && byte != 0x7F) {
          printable.push_back(c);
        } else {
          constexpr char kHex[] = "0123456789abcdef";
          printable.append({'\\', 'x', kHex[byte >> 4], kHex[byte & 15]});
        }
    }
  }
  return printable;
}

void PrintError(std::string_view message) {
  std::string line = "tabrun: " + Printable(message);
  line.push_back('\n');
  // One write, so that the line cannot be interleaved with anything else.
  std::size_t written;
  std::string ignored;
  os::WriteAll(os::kStandardError, line, &written, &ignored);
}

void FatalIoError(std::string_view unit, std::string_view file, std::string_view what,
                  std::string_view reason) {
  std::string message = "unit ";
  message.append(unit).append(" (").append(file).append("): ").append(what);
  message.append(": ").append(reason);
  PrintError(message);
  os::ExitNow(kFatalExitStatus);
}

void FatalOutOfMemory() {
  constexpr std::string_view kLine = "tabrun: out of memory\n";
  std::size_t written;
  std::string ignored;  // an empty string allocates nothing
  os::WriteAll(os::kStandardError, kLine, &written, &ignored);
  os::ExitNow(kFatalExitStatus);
}

}  // namespace tabrun
