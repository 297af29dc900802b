#include "scratch_dir.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

extern char** environ;

namespace tabrun_test {

namespace fs = std::filesystem;

namespace {

// The user and group id of "nobody" on Debian.
constexpr uid_t kUnprivilegedId = 65534;

// Quotes `text` for /bin/sh.
std::string ShellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

std::string ReadWholeFile(const std::string& path, bool* ok) {
  std::ifstream in(path, std::ios::binary);
  *ok = static_cast<bool>(in);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void WriteWholeFile(const std::string& path, std::string_view bytes, unsigned mode) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  ASSERT_TRUE(out) << "cannot write " << path;
  ASSERT_EQ(chmod(path.c_str(), mode), 0) << path << ": " << std::strerror(errno);
}

// The environment of the child: ours, with LC_ALL and PATH replaced.
std::vector<std::string> ChildEnvironment(const std::string& path_prefix) {
  std::vector<std::string> env;
  std::string path = "/usr/local/bin:/usr/bin:/bin";
  for (char** e = environ; *e != nullptr; ++e) {
    const std::string_view entry(*e);
    if (entry.starts_with("PATH=")) {
      path = std::string(entry.substr(5));
    } else if (!entry.starts_with("LC_ALL=")) {
      env.emplace_back(entry);
    }
  }
  if (!path_prefix.empty()) path = path_prefix + ":" + path;
  env.push_back("PATH=" + path);
  env.push_back("LC_ALL=C");
  return env;
}

std::vector<char*> PointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

RunResult RunProgram(const std::string& program, const std::string& dir,
                     const RunOptions& options) {
  RunResult result;
  // Everything the child needs is built before the fork: after it only async-signal-safe
  // calls are made.
  std::vector<std::string> argv_texts{program};
  argv_texts.insert(argv_texts.end(), options.args.begin(), options.args.end());
  std::vector<char*> argv = PointersTo(argv_texts);
  std::vector<std::string> env_texts = ChildEnvironment(options.path_prefix);
  std::vector<char*> envp = PointersTo(env_texts);
  const bool drop_root = options.unprivileged && geteuid() == 0;

  // The child reports a failure before exec as a step code and errno on start_pipe; a
  // successful exec closes the pipe without a word.
  int out_pipe[2];
  int err_pipe[2];
  int start_pipe[2];
  if (pipe2(out_pipe, O_CLOEXEC) != 0 || pipe2(err_pipe, O_CLOEXEC) != 0 ||
      pipe2(start_pipe, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe: " << std::strerror(errno);
    return result;
  }
  const pid_t pid = fork();
  if (pid < 0) {
    ADD_FAILURE() << "fork: " << std::strerror(errno);
    return result;
  }
  if (pid == 0) {
    int report[2] = {0, 0};
    if (drop_root && (setgroups(0, nullptr) != 0 || setgid(kUnprivilegedId) != 0 ||
                      setuid(kUnprivilegedId) != 0)) {
      report[0] = 1;
    } else if (chdir(dir.c_str()) != 0) {
      report[0] = 2;
    } else {
      dup2(out_pipe[1], STDOUT_FILENO);
      dup2(err_pipe[1], STDERR_FILENO);
      const int null_fd = open("/dev/null", O_RDONLY);
      if (null_fd >= 0) dup2(null_fd, STDIN_FILENO);
      execve(program.c_str(), argv.data(), envp.data());
      report[0] = 3;
    }
    report[1] = errno;
    (void)!write(start_pipe[1], report, sizeof report);
    _exit(127);
  }
  close(out_pipe[1]);
  close(err_pipe[1]);
  close(start_pipe[1]);

  // Both pipes are drained together so that neither can fill up and stall the child.
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(options.timeout_seconds);
  pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open_pipes = 2;
  char buffer[65536];
  while (open_pipes > 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      result.timed_out = true;
      kill(pid, SIGKILL);
      break;
    }
    const int ready = poll(fds, 2, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) {
      ADD_FAILURE() << "poll: " << std::strerror(errno);
      kill(pid, SIGKILL);
      break;
    }
    for (int k = 0; k < 2; ++k) {
      if (fds[k].fd < 0 || fds[k].revents == 0) continue;
      const ssize_t n = read(fds[k].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[k]->append(buffer, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        close(fds[k].fd);
        fds[k].fd = -1;
        --open_pipes;
      }
    }
  }
  for (const pollfd& p : fds) {
    if (p.fd >= 0) close(p.fd);
  }

  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  int report[2] = {0, 0};
  const ssize_t reported = read(start_pipe[0], report, sizeof report);
  close(start_pipe[0]);
  if (reported == static_cast<ssize_t>(sizeof report)) {
    static const char* const kSteps[] = {"", "cannot drop root", "cannot enter ", "cannot run "};
    result.start_error = std::string(kSteps[report[0]]) +
                         (report[0] == 2   ? dir
                          : report[0] == 3 ? program
                                           : "") +
                         ": " + std::strerror(report[1]);
    return result;
  }
  if (WIFEXITED(status)) {
    result.exit_status = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  return result;
}

ScratchDir::ScratchDir() {
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern =
      std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/tabrun_e2e.XXXXXX";
  // Without a directory of its own no test can run safely: the names would land elsewhere.
  if (mkdtemp(pattern.data()) == nullptr) {
    std::fprintf(stderr, "mkdtemp %s: %s\n", pattern.c_str(), std::strerror(errno));
    std::abort();
  }
  root_ = pattern;
  work_ = root_ + "/work";
  bin_ = root_ + "/bin";
  fs::create_directory(work_);
  fs::create_directory(bin_);
}

ScratchDir::~ScratchDir() {
  // A test may have taken permissions away; give them back so everything can be removed.
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(
           root_, fs::directory_options::skip_permission_denied, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    if (it->is_directory(ec) && !it->is_symlink(ec)) {
      chmod(it->path().c_str(), 0700);
    }
  }
  chmod(work_.c_str(), 0700);
  fs::remove_all(root_, ec);
  if (ec) std::fprintf(stderr, "cannot remove %s: %s\n", root_.c_str(), ec.message().c_str());
}

void ScratchDir::Write(std::string_view name, std::string_view bytes, unsigned mode) const {
  WriteWholeFile(PathOf(name), bytes, mode);
}

std::string ScratchDir::Read(std::string_view name) const {
  bool ok = false;
  std::string content = ReadWholeFile(PathOf(name), &ok);
  if (!ok) ADD_FAILURE() << "cannot read " << PathOf(name);
  return content;
}

bool ScratchDir::Exists(std::string_view name) const {
  struct stat st;
  return lstat(PathOf(name).c_str(), &st) == 0;
}

void ScratchDir::MakeDir(std::string_view name) const {
  ASSERT_EQ(mkdir(PathOf(name).c_str(), 0755), 0) << PathOf(name) << ": " << std::strerror(errno);
}

void ScratchDir::Symlink(std::string_view target, std::string_view name) const {
  ASSERT_EQ(symlink(std::string(target).c_str(), PathOf(name).c_str()), 0)
      << PathOf(name) << ": " << std::strerror(errno);
}

void ScratchDir::CopyFilesFrom(const std::string& source_dir) const {
  std::error_code ec;
  for (const fs::directory_entry& entry : fs::directory_iterator(source_dir, ec)) {
    if (!entry.is_regular_file()) continue;
    fs::copy_file(entry.path(), fs::path(work_) / entry.path().filename(), ec);
    ASSERT_FALSE(ec) << entry.path() << ": " << ec.message();
  }
  ASSERT_FALSE(ec) << source_dir << ": " << ec.message();
}

std::vector<std::string> ScratchDir::Entries() const {
  std::vector<std::string> names;
  std::error_code ec;
  for (const fs::directory_entry& entry : fs::directory_iterator(work_, ec)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void ScratchDir::InstallStandInLs(std::string_view listing) const {
  WriteWholeFile(bin_ + "/listing", listing, 0644);
  const std::string script =
      "#!/bin/sh\n"
      "printf '%s\\n' \"$@\" > " +
      ShellQuote(bin_ + "/ls_args") + "\n" + "exec /bin/cat " + ShellQuote(bin_ + "/listing") +
      "\n";
  WriteWholeFile(bin_ + "/ls", script, 0755);
}

bool ScratchDir::StandInLsRan() const {
  struct stat st;
  return stat((bin_ + "/ls_args").c_str(), &st) == 0;
}

std::string ScratchDir::StandInLsArgs() const {
  bool ok = false;
  std::string args = ReadWholeFile(bin_ + "/ls_args", &ok);
  if (!ok) ADD_FAILURE() << "the stand-in ls did not run";
  return args;
}

RunResult ScratchDirTest::Run(const std::vector<std::string>& args) const {
  RunOptions options;
  options.args = args;
  return RunProgram(TABRUN_BINARY, dir_.work(), options);
}

RunResult ScratchDirTest::RunWithListing(std::string_view listing,
                                         const std::vector<std::string>& args) const {
  dir_.InstallStandInLs(listing);
  RunOptions options;
  options.args = args;
  options.path_prefix = dir_.bin();
  return RunProgram(TABRUN_BINARY, dir_.work(), options);
}

RunResult ScratchDirTest::RunUnprivileged() const {
  chmod(dir_.root().c_str(), 0755);
  RunOptions options;
  options.unprivileged = true;
  return RunProgram(TABRUN_BINARY, dir_.work(), options);
}

std::string ReadSourceFile(const std::string& relative) {
  bool ok = false;
  std::string content = ReadWholeFile(std::string(TABRUN_SOURCE_DIR) + "/" + relative, &ok);
  if (!ok) ADD_FAILURE() << "cannot read " << relative << " in " << TABRUN_SOURCE_DIR;
  return content;
}

}  // namespace tabrun_test
