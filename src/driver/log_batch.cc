#include "driver/log_batch.h"

#include <algorithm>

#include "os/directory.h"
#include "os/process.h"
#include "recio/log_directory.h"

namespace tabrun {

LogBatch::LogBatch(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    Operand operand{names_.size(), nullptr, {}};
    if (!os::IsDirectory(path)) {
      names_.Add(path);
    } else if (!ListLogNames(path, &names_, &operand.error)) {
      names_.Add(path);
    } else {
      operand.directory = &path;
    }
    // A directory without logs adds no operand: the next log's is the one it would find.
    if (names_.size() > operand.first_log) operands_.push_back(std::move(operand));
  }
}

LogPlace LogBatch::PlaceOf(std::size_t index) const {
  const Operand& operand = OperandOf(index);
  LogPlace place;
  place.path = names_[index];
  if (!operand.error.empty()) place.list_error = &operand.error;
  if (operand.directory == nullptr) {
    place.stream = LogText::Stream::kPipeToItsEnd;
    return place;
  }
  place.directory = operand.directory;
  place.name = place.path;
  if (*operand.directory != ".") {
    place.path.insert(0, *operand.directory + (operand.directory->ends_with('/') ? "" : "/"));
  }
  return place;
}

std::string_view LogBatch::RunName(std::size_t index) const {
  const std::string_view name = names_[index];
  if (OperandOf(index).directory != nullptr) return name;
  const bool backslash = os::TypingShell() == os::ShellSyntax::kCmd;
  return name.substr(name.find_last_of(backslash ? "/\\" : "/") + 1);  // npos + 1 is 0
}

const LogBatch::Operand& LogBatch::OperandOf(std::size_t index) const {
  return *--std::upper_bound(operands_.begin(), operands_.end(), index,
                             [](std::size_t i, const Operand& o) { return i < o.first_log; });
}

}  // namespace tabrun
