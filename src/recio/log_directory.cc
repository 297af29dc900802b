#include "recio/log_directory.h"

#include <string_view>

#include "os/directory.h"

namespace tabrun {

bool ListLogNames(const std::string& path, NameList* names, std::string* error) {
  const std::size_t first = names->size();
  const bool listed = os::ListDirectory(path, error, [names](std::string_view name) {
    if (name.ends_with(".log") && !name.starts_with('.')) names->Add(name);
  });
  if (!listed) {
    names->Truncate(first);
    return false;
  }
  names->SortFrom(first);
  return true;
}

}  // namespace tabrun
