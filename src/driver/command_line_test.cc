#include "driver/command_line.h"

#include <gtest/gtest.h>

#include <vector>

namespace tabrun {
namespace {

TEST(CommandLineTest, Arguments) {
  struct Case {
    std::vector<const char*> argv;
    Command command;
  } cases[] = {
      {{"tabrun"}, Command::kRun},
      {{"tabrun", "-h"}, Command::kHelp},
      {{"tabrun", "--help"}, Command::kHelp},
      {{"tabrun", "--version"}, Command::kVersion},
      {{"tabrun", "-v"}, Command::kUsageError},
      {{"tabrun", ""}, Command::kUsageError},
      {{"tabrun", "run.log"}, Command::kUsageError},
      {{"tabrun", "--help", "--version"}, Command::kUsageError},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ParseCommandLine(static_cast<int>(c.argv.size()), c.argv.data()), c.command)
        << (c.argv.size() > 1 ? c.argv[1] : "(none)");
  }
}

}  // namespace
}  // namespace tabrun
