#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os/directory.h"
#include "os/file.h"

namespace tabrun::os {
namespace {

int SystemDirectory(int directory) { return directory == kWorkingDirectory ? AT_FDCWD : directory; }

// Opens `path`, too long for the system to take whole, by its last component in its directory,
// which OpenDirectory walks one component at a time. A directory that cannot be opened makes
// the file missing, as a failed look-up does for a shorter path. A path ending in '/' names the
// directory itself.
OpenResult OpenThroughDirectory(const std::string& path, int* file, std::string* error) {
  const std::size_t slash = path.rfind('/');
  const std::string name = slash + 1 == path.size() ? "." : path.substr(slash + 1);
  const int directory = OpenDirectory(path.substr(0, slash + 1), error);
  if (directory == kNoFile) return OpenResult::kMissing;
  const OpenResult opened = OpenForReading(directory, name, file, error);
  CloseFile(directory);
  return opened;
}

// The kind, size, identity and modification time that a stat call found.
FileStatus StatusOf(const struct stat& st) {
  FileStatus status;
  status.kind = S_ISREG(st.st_mode)    ? FileKind::kRegular
                : S_ISDIR(st.st_mode)  ? FileKind::kDirectory
                : S_ISFIFO(st.st_mode) ? FileKind::kPipe
                                       : FileKind::kOther;
  status.size = static_cast<std::uint64_t>(st.st_size);
  status.identity = {static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino)};
  status.modified = static_cast<std::int64_t>(st.st_mtime);
  return status;
}

}  // namespace

OpenResult OpenForReading(int directory, const std::string& path, int* file, std::string* error) {
  // A C name ends at its first NUL byte: such a name would open some other file.
  if (path.find('\0') != std::string::npos) {
    *error = std::strerror(ENOENT);
    return OpenResult::kMissing;
  }
  const int at = SystemDirectory(directory);
  *file = openat(at, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (*file >= 0) return OpenResult::kOpened;
  const int open_errno = errno;
  // A name too long in itself stays so; a long path of short names is walked.
  if (open_errno == ENAMETOOLONG && path.find('/') != std::string::npos &&
      (directory == kWorkingDirectory || path.starts_with('/'))) {
    return OpenThroughDirectory(path, file, error);
  }
  // Missing when the name leads nowhere; otherwise it exists and the open's reason counts.
  struct stat st;
  const bool missing = fstatat(at, path.c_str(), &st, 0) != 0;
  *error = std::strerror(missing ? errno : open_errno);
  return missing ? OpenResult::kMissing : OpenResult::kFailed;
}

bool Describe(int file, FileStatus* status, std::string* error) {
  struct stat st;
  if (fstat(file, &st) != 0) {
    *error = std::strerror(errno);
    return false;
  }
  *status = StatusOf(st);
  return true;
}

OpenResult DescribeAt(int directory, const std::string& path, FileStatus* status,
                      std::string* error) {
  struct stat st;
  if (path.find('\0') != std::string::npos) {
    *error = std::strerror(ENOENT);
    return OpenResult::kMissing;
  }
  if (fstatat(SystemDirectory(directory), path.c_str(), &st, 0) != 0) {
    const int code = errno;
    *error = std::strerror(code);
    return code == ENOENT || code == ENOTDIR || code == ELOOP ? OpenResult::kMissing
                                                              : OpenResult::kFailed;
  }
  *status = StatusOf(st);
  return OpenResult::kOpened;
}

std::string IsDirectoryText() { return std::strerror(EISDIR); }

std::int64_t ReadAt(int file, char* out, std::size_t length, std::uint64_t offset) {
  for (;;) {
    const ssize_t got = pread(file, out, length, static_cast<off_t>(offset));
    if (got >= 0 || errno != EINTR) return got;
  }
}

std::int64_t ReadNext(int file, char* out, std::size_t length, bool wait, std::string* error) {
  for (;;) {
    if (wait) {
      // A pipe opened not to wait reads as ended while no writer has it open: poll waits for
      // the first writer's bytes or for its close (on Linux; elsewhere it may not wait).
      pollfd ready{file, POLLIN, 0};
      if (poll(&ready, 1, -1) < 0 && errno != EINTR) break;
    }
    const ssize_t got = read(file, out, length);
    if (got >= 0) return got;
    if (errno == EINTR || (wait && (errno == EAGAIN || errno == EWOULDBLOCK))) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return kNothingYet;
    break;
  }
  if (error != nullptr) *error = std::strerror(errno);
  return -1;
}

int CreateScratchFile(std::string* error) {
  const char* directory = std::getenv("TMPDIR");
  std::string path = directory != nullptr && *directory != '\0' ? directory : "/tmp";
  path += "/tabrun.XXXXXX";
  const int file = mkstemp(path.data());
  if (file < 0) {
    *error = std::strerror(errno);
    return kNoFile;
  }
  unlink(path.c_str());
  fcntl(file, F_SETFD, FD_CLOEXEC);
  return file;
}

bool CloseFile(int file, std::string* error) {
  // After an interrupted close the descriptor is gone on Linux and macOS alike.
  if (close(file) == 0 || errno == EINTR) return true;
  if (error != nullptr) *error = std::strerror(errno);
  return false;
}

int CreateFile(const std::string& path, std::string* error) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) *error = std::strerror(errno);
  return file;
}

bool ReplaceFile(const std::string& from, const std::string& to, std::string* error) {
  if (rename(from.c_str(), to.c_str()) == 0) return true;
  *error = std::strerror(errno);
  return false;
}

bool RemoveFile(const std::string& path) { return unlink(path.c_str()) == 0; }

bool WriteAll(int file, std::string_view bytes, std::size_t* written, std::string* error) {
  *written = 0;
  while (*written < bytes.size()) {
    const ssize_t n = write(file, bytes.data() + *written, bytes.size() - *written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      *error = std::strerror(n < 0 ? errno : EIO);
      return false;
    }
    *written += static_cast<std::size_t>(n);
  }
  return true;
}

bool IsTerminal(int file) { return isatty(file) == 1; }

}  // namespace tabrun::os
