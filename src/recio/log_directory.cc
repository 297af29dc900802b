#include "recio/log_directory.h"

#include <dirent.h>
#include <errno.h>

#include <cstring>
#include <string_view>

namespace tabrun {

bool ListLogNames(const std::string& path, NameList* names, std::string* error) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) {
    *error = std::strerror(errno);
    return false;
  }
  const std::size_t first = names->size();
  errno = 0;
  while (const dirent* entry = readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name.ends_with(".log") && !name.starts_with('.')) names->Add(name);
  }
  const int read_errno = errno;
  closedir(dir);
  if (read_errno != 0) {
    *error = std::strerror(read_errno);
    names->Truncate(first);
    return false;
  }
  names->SortFrom(first);
  return true;
}

}  // namespace tabrun
