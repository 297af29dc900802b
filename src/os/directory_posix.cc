#include "os/directory.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <string_view>

#include "os/file.h"

namespace tabrun::os {

bool IsDirectory(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool ListDirectory(const std::string& path, std::vector<std::string>* names, std::string* error) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) {
    *error = std::strerror(errno);
    return false;
  }
  names->clear();
  errno = 0;
  while (const dirent* entry = readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names->emplace_back(name);
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
  std::vector<std::string> names;
  if (!ListDirectory(path, &names, error)) return false;
  entries->clear();
  for (std::string& name : names) {
    struct stat st;
    if (stat((path + "/" + name).c_str(), &st) != 0) continue;
    entries->push_back({std::move(name), static_cast<std::uint64_t>(st.st_size),
                        static_cast<std::int64_t>(st.st_mtime), S_ISDIR(st.st_mode)});
  }
  return true;
}

int OpenDirectory(const std::string& path, std::string* error) {
  const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) *error = std::strerror(errno);
  return directory < 0 ? kNoFile : directory;
}

}  // namespace tabrun::os
