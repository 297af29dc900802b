// The end-to-end harness: the built tabrun run in a scratch directory per test.

#ifndef TABRUN_TESTS_SCRATCH_DIR_H_
#define TABRUN_TESTS_SCRATCH_DIR_H_

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tabrun_test {

// The whole file at `path`; fails the test and returns "" when it cannot be read.
std::string ReadFile(const std::string& path);

struct RunResult {
  std::string out;
  std::string err;
  int status = -1;  // the exit status; 128 + the signal number when a signal ended it
};

// Who runs tabrun: the tests' user, or one whom permissions stop (65534 when we are root).
enum class User { kCurrent, kUnprivileged };

// Owns a fresh directory <root>/work for each test, in which tabrun runs; names given to the
// methods are relative to it. It is removed after the test even when made read-only.
class ScratchDirTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string Path(std::string_view name) const { return work_ + "/" + std::string(name); }
  // Creates or replaces the file with exactly `bytes` and gives it `mode`.
  void Write(std::string_view name, std::string_view bytes, unsigned mode = 0644) const;
  std::string Read(std::string_view name) const { return ReadFile(Path(name)); }
  // The sorted names in the work directory.
  std::vector<std::string> Entries() const;
  // True once the stand-in `ls` has run in this test.
  bool LsRan() const;

  // Runs tabrun with `args` in the work directory with LC_ALL=C, capturing its output. When
  // `listing` is given, `ls` is a stand-in that prints exactly that text. A run still going
  // after two minutes is killed.
  RunResult Run(const std::optional<std::string>& listing = std::nullopt,
                const std::vector<std::string>& args = {}, User user = User::kCurrent) const;

  std::string root_;
  std::string work_;
};

// Compares two texts byte for byte; on a difference, reports the first differing line escaped.
void ExpectSameText(std::string_view what, std::string_view actual, std::string_view expected);

}  // namespace tabrun_test

#endif  // TABRUN_TESTS_SCRATCH_DIR_H_
