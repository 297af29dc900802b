#include "recio/log_directory.h"

#include <algorithm>
#include <string_view>

#include "os/directory.h"

namespace tabrun {

bool ListLogNames(const std::string& path, std::vector<std::string>* names, std::string* error) {
  if (!os::ListDirectory(path, names, error)) return false;
  std::erase_if(*names, [](std::string_view name) {
    return !name.ends_with(".log") || name.starts_with('.');
  });
  // std::string compares as unsigned bytes.
  std::sort(names->begin(), names->end());
  return true;
}

}  // namespace tabrun
