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

bool ListDirectory(const std::string& path, std::string* error,
                   const std::function<void(std::string_view name)>& each) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) {
    *error = std::strerror(errno);
    return false;
  }
  for (;;) {
    errno = 0;  // afresh for each entry: `each` may leave it set
    const dirent* entry = readdir(dir);
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") each(name);
  }
  const int read_errno = errno;
  closedir(dir);
  if (read_errno != 0) {
    *error = std::strerror(read_errno);
    return false;
  }
  return true;
}

int OpenDirectory(const std::string& path, std::string* error) {
  const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) *error = std::strerror(errno);
  return directory < 0 ? kNoFile : directory;
}

}  // namespace tabrun::os
