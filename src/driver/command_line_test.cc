#include "driver/command_line.h"

#include <gtest/gtest.h>

namespace tabrun {
namespace {

constexpr char kFor[] = "for the logs in that directory: ";

// Beside option_extra_operand and option_extra_operand_windows, one for each shell.
TEST(CommandLineTest, ExtraOperandHintIsRightWhenTyped) {
  using os::ShellSyntax;
  const struct {
    const char* operand;
    ShellSyntax shell;
    const char* commands;  // after kFor; nullptr for no hint
  } cases[] = {
      {"runs", ShellSyntax::kPosix, "cd './runs' && tabrun, or tabrun --csv './runs'"},
      // Neither the previous directory, nor an option of cd or tabrun, nor a CDPATH search.
      {"-", ShellSyntax::kPosix, "cd './-' && tabrun, or tabrun --csv './-'"},
      {"--csv", ShellSyntax::kPosix, "cd './--csv' && tabrun, or tabrun --csv './--csv'"},
      {"..x/y", ShellSyntax::kPosix, "cd './..x/y' && tabrun, or tabrun --csv './..x/y'"},
      {"../up", ShellSyntax::kPosix, "cd '../up' && tabrun, or tabrun --csv '../up'"},
      {".", ShellSyntax::kPosix, "cd '.' && tabrun, or tabrun --csv '.'"},
      {"/srv/runs", ShellSyntax::kPosix, "cd '/srv/runs' && tabrun, or tabrun --csv '/srv/runs'"},
      {"", ShellSyntax::kPosix, nullptr},
      {"a\nb", ShellSyntax::kPosix, nullptr},
      {"a\x7F", ShellSyntax::kPosix, nullptr},
      {"runs/T300K", ShellSyntax::kCmd,
       R"(cd /d "runs\T300K" && tabrun, or tabrun --csv "runs\T300K")"},
      // tabrun's C runtime reads \" as a quote; cmd.exe's cd does not.
      {R"(C:\)", ShellSyntax::kCmd, R"(cd /d "C:\" && tabrun, or tabrun --csv "C:\\")"},
      {"-", ShellSyntax::kCmd, R"(cd /d ".\-" && tabrun, or tabrun --csv ".\-")"},
      {"it's & more", ShellSyntax::kCmd,
       R"(cd /d "it's & more" && tabrun, or tabrun --csv "it's & more")"},
      {R"(\\srv\d)", ShellSyntax::kCmd, R"(pushd "\\srv\d" && tabrun, or tabrun --csv "\\srv\d")"},
      {"//srv/d", ShellSyntax::kCmd, R"(pushd "\\srv\d" && tabrun, or tabrun --csv "\\srv\d")"},
      {"100%", ShellSyntax::kCmd, nullptr},
      {"a\"b", ShellSyntax::kCmd, nullptr},
      {"a\tb", ShellSyntax::kCmd, nullptr},
  };
  for (const auto& c : cases) {
    const std::string expected = c.commands == nullptr ? "" : kFor + std::string(c.commands);
    EXPECT_EQ(ExtraOperandHint(c.operand, c.shell), expected) << c.operand;
  }
}

}  // namespace
}  // namespace tabrun
