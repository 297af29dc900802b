#include "scratch_dir.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tabrun_test {

namespace fs = std::filesystem;

namespace {

// The user and group id of "nobody" on Debian.
constexpr uid_t kNobody = 65534;

// The stand-in `ls`: it notes that it ran and prints the listing kept beside it.
constexpr char kStandInLs[] =
    "#!/bin/sh\nd=$(dirname \"$0\")\n: > \"$d/ls_ran\"\nexec cat \"$d/listing\"\n";

void WriteFile(const std::string& path, std::string_view bytes, unsigned mode) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  ASSERT_TRUE(out) << "cannot write " << path;
  ASSERT_EQ(chmod(path.c_str(), mode), 0) << path << ": " << std::strerror(errno);
}

// The line of `text` that holds byte `pos`, escaped, with its length in front.
std::string LineAt(std::string_view text, size_t pos) {
  const size_t start = pos == 0 ? 0 : text.rfind('\n', pos - 1) + 1;  // npos + 1 is 0
  const std::string_view line = text.substr(start, text.find('\n', start) - start);
  std::string shown = "(" + std::to_string(line.size()) + "): \"";
  for (unsigned char c : line) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02x", c);
    shown += c >= 32 && c < 127 ? std::string(1, static_cast<char>(c)) : hex;
  }
  return shown + "\"";
}

}  // namespace

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) ADD_FAILURE() << "cannot read " << path;
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void ScratchDirTest::SetUp() {
  std::string pattern = (fs::temp_directory_path() / "tabrun.XXXXXX").string();
  ASSERT_NE(mkdtemp(pattern.data()), nullptr) << pattern << ": " << std::strerror(errno);
  root_ = pattern;
  work_ = root_ + "/work";
  fs::create_directory(work_);
  fs::create_directory(root_ + "/bin");
}

void ScratchDirTest::TearDown() {
  if (root_.empty()) return;
  chmod(work_.c_str(), 0700);
  std::error_code ec;
  fs::remove_all(root_, ec);
  if (ec) ADD_FAILURE() << "cannot remove " << root_ << ": " << ec.message();
}

void ScratchDirTest::Write(std::string_view name, std::string_view bytes, unsigned mode) const {
  WriteFile(Path(name), bytes, mode);
}

std::vector<std::string> ScratchDirTest::Entries() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(work_)) names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

bool ScratchDirTest::LsRan() const { return fs::exists(root_ + "/bin/ls_ran"); }

RunResult ScratchDirTest::Run(const std::optional<std::string>& listing,
                              const std::vector<std::string>& args, User user) const {
  std::string path = "PATH=/usr/local/bin:/usr/bin:/bin";
  if (listing) {
    WriteFile(root_ + "/bin/listing", *listing, 0644);
    WriteFile(root_ + "/bin/ls", kStandInLs, 0755);
    path.insert(5, root_ + "/bin:");
  }
  const bool drop_root = user == User::kUnprivileged && geteuid() == 0;
  std::string binary = TABRUN_BINARY;
  if (user == User::kUnprivileged) {
    chmod(root_.c_str(), 0755);  // so that work/ can be reached
    // The build tree may lie where the unprivileged user cannot go: run a copy from here.
    binary = root_ + "/bin/tabrun";
    fs::copy_file(TABRUN_BINARY, binary, fs::copy_options::overwrite_existing);
    chmod(binary.c_str(), 0755);
  }

  // Everything the child needs is built before the fork. The output goes to files, so that
  // no pipe can fill up and stall the child.
  std::vector<std::string> texts{binary};
  texts.insert(texts.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& text : texts) argv.push_back(text.data());
  argv.push_back(nullptr);
  std::string locale = "LC_ALL=C";
  char* envp[] = {path.data(), locale.data(), nullptr};
  const std::string out_path = root_ + "/stdout";
  const std::string err_path = root_ + "/stderr";
  const int fds[3] = {open("/dev/null", O_RDONLY | O_CLOEXEC),
                      open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644),
                      open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)};

  const pid_t pid = fork();
  if (pid == 0) {
    for (int k = 0; k < 3; ++k) dup2(fds[k], k);
    if (drop_root && (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
      std::perror("e2e harness: cannot drop root");
    } else if (chdir(work_.c_str()) != 0) {
      std::perror("e2e harness: cannot enter the work directory");
    } else {
      alarm(120);  // kept across exec
      execve(argv[0], argv.data(), envp);
      std::perror("e2e harness: cannot run tabrun");
    }
    _exit(127);
  }
  for (int fd : fds) close(fd);
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid) {
    ADD_FAILURE() << "cannot run tabrun: " << std::strerror(errno);
    return {};
  }
  return {ReadFile(out_path), ReadFile(err_path),
          WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

void ExpectSameText(std::string_view what, std::string_view actual, std::string_view expected) {
  if (actual == expected) return;
  const size_t pos = static_cast<size_t>(
      std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end()).first -
      actual.begin());
  ADD_FAILURE() << what << " differs at line "
                << 1 + std::count(expected.begin(), expected.begin() + pos, '\n') << " (byte "
                << pos << "; sizes " << actual.size() << " actual, " << expected.size()
                << " expected)\n  expected " << LineAt(expected, pos) << "\n  actual   "
                << LineAt(actual, pos);
}

}  // namespace tabrun_test
