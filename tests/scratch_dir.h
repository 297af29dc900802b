// Helpers for the end-to-end tests: a scratch directory per test, files with exact bytes, and
// the built tabrun run as a child process in that directory.

#ifndef TABRUN_TESTS_SCRATCH_DIR_H_
#define TABRUN_TESTS_SCRATCH_DIR_H_

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace tabrun_test {

// What a finished child process left behind.
struct RunResult {
  std::string out;          // everything it wrote to standard output
  std::string err;          // everything it wrote to standard error
  int exit_status = -1;     // its exit status, or -1 when it did not exit normally
  int signal = 0;           // the signal that ended it, 0 when it exited
  bool timed_out = false;   // it was killed after the time limit
  std::string start_error;  // why the program could not be started; empty when it was
};

struct RunOptions {
  std::vector<std::string> args;
  std::string path_prefix;    // put in front of PATH when not empty
  bool unprivileged = false;  // when we are root, run the child as user and group 65534
  int timeout_seconds = 120;  // a child still running then is killed
};

// Runs `program` in `dir` and waits for it, capturing both output streams. The child gets
// the parent's environment with LC_ALL=C (so `ls` sorts names bytewise) and PATH as `options`
// say, and /dev/null as standard input. When it cannot be started (no such directory, the
// user cannot execute the program), start_error says why and nothing else is set.
RunResult RunProgram(const std::string& program, const std::string& dir, const RunOptions& options);

// A fresh directory under $TMPDIR (or /tmp), removed with everything in it on destruction.
// It holds two subdirectories: work/, the directory the program runs in, and bin/, where a
// stand-in `ls` can be installed. Names given to the methods are relative to work/.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& root() const { return root_; }
  const std::string& work() const { return work_; }
  const std::string& bin() const { return bin_; }
  std::string PathOf(std::string_view name) const { return work_ + "/" + std::string(name); }

  // Creates or replaces the file with exactly `bytes` (no line end added) and gives it `mode`.
  void Write(std::string_view name, std::string_view bytes, unsigned mode = 0644) const;
  // The whole content of the file; fails the current test and returns "" when it cannot be read.
  std::string Read(std::string_view name) const;
  // True when the name exists, symbolic links not followed.
  bool Exists(std::string_view name) const;
  void MakeDir(std::string_view name) const;
  void Symlink(std::string_view target, std::string_view name) const;
  // Copies the regular files of `source_dir` (not its subdirectories) into work/.
  void CopyFilesFrom(const std::string& source_dir) const;
  // The sorted names in work/.
  std::vector<std::string> Entries() const;

  // Installs bin/ls, which ignores the directory, prints `listing` byte for byte and records
  // its arguments one per line in bin/ls_args. Run with bin() as PATH prefix to use it.
  void InstallStandInLs(std::string_view listing) const;
  // True once the stand-in `ls` has run.
  bool StandInLsRan() const;
  // The arguments the stand-in `ls` was given, one per line.
  std::string StandInLsArgs() const;

 private:
  std::string root_;
  std::string work_;
  std::string bin_;
};

// A test fixture that owns a scratch directory and runs the built tabrun in it.
class ScratchDirTest : public ::testing::Test {
 protected:
  // Runs tabrun in work/ with the real `ls`.
  RunResult Run(const std::vector<std::string>& args = {}) const;
  // Runs tabrun in work/ with the stand-in `ls`, which prints `listing`.
  RunResult RunWithListing(std::string_view listing,
                           const std::vector<std::string>& args = {}) const;
  // Runs tabrun in work/ with the real `ls` as a user whom file permissions stop: ourselves,
  // or user 65534 when we are root. The scratch directory is opened for that user to reach
  // work/; work/ itself keeps the mode the test gave it.
  RunResult RunUnprivileged() const;

  ScratchDir dir_;
};

// The file of the source tree at `relative` (for example "tests/golden/x"), read whole.
std::string ReadSourceFile(const std::string& relative);

}  // namespace tabrun_test

#endif  // TABRUN_TESTS_SCRATCH_DIR_H_
