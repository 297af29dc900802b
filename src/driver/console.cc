#include "driver/console.h"

#include <string>

#include "os/file.h"
#include "recio/fatal.h"

namespace tabrun {
namespace {

constexpr char kUnit[] = "*";
constexpr char kFile[] = "standard output";

}  // namespace

Console::Console()
    : out_(os::kStandardOutput), line_buffered_(os::IsTerminal(os::kStandardOutput)) {}

void Console::Write(std::string_view text) {
  if (text.empty()) return;
  if (progress_) progress_->BeforeOutput();
  std::string error;
  if (!out_.Write(text, &error)) Fatal(kUnit, kFile, "cannot write", error);
  if (line_buffered_) Flush();
}

void Console::Flush() {
  std::string error;
  if (!out_.Flush(&error)) Fatal(kUnit, kFile, "cannot write", error);
}

void Console::Fatal(std::string_view unit, std::string_view file, std::string_view what,
                    std::string_view reason, OutputUnit* also) {
  progress_.reset();
  std::string ignored;
  out_.Flush(&ignored);
  if (also != nullptr) also->Flush(&ignored);
  FatalIoError(unit, file, what, reason);
}

}  // namespace tabrun
