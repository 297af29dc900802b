#include "recio/log_directory.h"

#include <dirent.h>
#include <errno.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tabrun {

bool ListLogNames(const std::string& path, std::vector<std::string>* names, std::string* error) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) {
    *error = std::strerror(errno);
    return false;
  }
  names->clear();
  errno = 0;
  while (const dirent* entry = readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name.ends_with(".log") && !name.starts_with('.')) names->emplace_back(name);
  }
  const int read_errno = errno;
  closedir(dir);
  if (read_errno != 0) {
    *error = std::strerror(read_errno);
    return false;
  }
  // std::string compares as unsigned bytes.
  std::sort(names->begin(), names->end());
  return true;
}

}  // namespace tabrun
