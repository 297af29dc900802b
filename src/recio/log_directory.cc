#include "recio/log_directory.h"

#include <algorithm>
#include <string_view>

namespace tabrun {

bool MatchesLogPattern(std::string_view name, os::NameCase name_case) {
  constexpr std::string_view kSuffix = ".log";
  if (name.starts_with('.') || name.size() < kSuffix.size()) return false;
  const std::string_view suffix = name.substr(name.size() - kSuffix.size());
  if (name_case == os::NameCase::kExact) return suffix == kSuffix;
  // The suffix is ASCII, and no byte of another UTF-8 character is: folding A-Z is enough.
  return std::equal(suffix.begin(), suffix.end(), kSuffix.begin(), [](char c, char small) {
    return (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) == small;
  });
}

bool ListLogNames(const std::string& path, NameList* names, std::string* error) {
  const std::size_t first = names->size();
  const os::NameCase name_case = os::PatternCase();
  const bool listed =
      os::ListDirectory(path, error, [names, name_case](const os::ListedEntry& entry) {
        if (MatchesLogPattern(entry.name, name_case)) names->Add(entry.name);
      });
  if (!listed) {
    names->Truncate(first);
    return false;
  }
  names->SortFrom(first);
  return true;
}

}  // namespace tabrun
