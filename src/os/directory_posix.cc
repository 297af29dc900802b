#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "os/directory.h"
#include "os/file.h"

namespace tabrun::os {
namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// Opens the directory `path` as a descriptor, or returns -1 with errno set. A path too long
// for the system to take whole is walked one component at a time with openat, so that a path
// of any length opens.
int OpenDirectoryFd(const std::string& path) {
  const int whole = open(path.c_str(), kDirectoryFlags);
  if (whole >= 0 || errno != ENAMETOOLONG) return whole;
  int at = path.starts_with('/') ? open("/", kDirectoryFlags) : open(".", kDirectoryFlags);
  for (std::size_t start = 0; at >= 0 && start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string component = path.substr(start, end - start);
    start = end + 1;
    if (component.empty()) continue;
    const int next = openat(at, component.c_str(), kDirectoryFlags);
    const int open_errno = errno;
    close(at);
    errno = open_errno;
    at = next;
  }
  return at;
}

}  // namespace

NameCase PatternCase() { return NameCase::kExact; }

bool IsDirectory(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  if (errno != ENAMETOOLONG) return false;
  const int directory = OpenDirectoryFd(path);
  if (directory >= 0) close(directory);
  return directory >= 0;
}

bool ListDirectory(const std::string& path, std::string* error,
                   const std::function<void(const ListedEntry& entry)>& each) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr && errno == ENAMETOOLONG) {
    const int directory = OpenDirectoryFd(path);
    if (directory >= 0 && (dir = fdopendir(directory)) == nullptr) {
      const int open_errno = errno;
      close(directory);
      errno = open_errno;
    }
  }
  if (dir == nullptr) {
    *error = std::strerror(errno);
    return false;
  }
  for (;;) {
    errno = 0;  // afresh for each entry: `each` may leave it set
    const dirent* entry = readdir(dir);
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") each({.name = name});
  }
  const int read_errno = errno;
  closedir(dir);
  if (read_errno != 0) {
    *error = std::strerror(read_errno);
    return false;
  }
  return true;
}

bool ListDirectoryEntries(const std::string& path, std::vector<DirectoryEntry>* entries,
                          std::string* error) {
  entries->clear();
  return ListDirectory(path, error, [&](const ListedEntry& listed) {
    struct stat st;
    std::string entry(listed.name);
    if (stat((path + "/" + entry).c_str(), &st) != 0) return;
    entries->push_back({std::move(entry), static_cast<std::uint64_t>(st.st_size),
                        static_cast<std::int64_t>(st.st_mtime), S_ISDIR(st.st_mode)});
  });
}

int OpenDirectory(const std::string& path, std::string* error) {
  const int directory = OpenDirectoryFd(path);
  if (directory < 0) *error = std::strerror(errno);
  return directory < 0 ? kNoFile : directory;
}

}  // namespace tabrun::os
