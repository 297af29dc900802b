#include "analysis/run_row.h"

#include <cmath>

#include "analysis/natural_order.h"
#include "os/directory.h"

namespace tabrun {

std::optional<double> NameNumber(std::string_view log) {
  const std::string_view name = log.substr(log.rfind('/') + 1);  // npos + 1 is 0
  std::optional<double> last;
  NumberInText number;
  for (std::size_t at = 0; NextNumber(name, at, &number); at = number.end) {
    last = std::isfinite(number.value) ? std::optional<double>(number.value) : std::nullopt;
  }
  return last;
}

RowReader::~RowReader() {
  if (directory_fd_ != os::kNoFile) os::CloseFile(directory_fd_);
}

int RowReader::DirectoryFd(const std::string& directory, std::string* error) {
  if (&directory != directory_) {
    if (directory_fd_ != os::kNoFile) os::CloseFile(directory_fd_);
    directory_ = &directory;
    directory_fd_ = os::OpenDirectory(directory, &directory_error_);
  }
  if (directory_fd_ == os::kNoFile) *error = directory_error_;
  return directory_fd_;
}

RunRow RowReader::Read(LogPlace place, const ScanWants& wants,
                       const std::vector<os::FileIdentity>& read_at_turn) {
  RunRow row;
  row.log = std::move(place.path);
  if (wants.rows) row.name_number = NameNumber(row.log);
  if (place.list_error != nullptr) {
    row.problem = ReadProblem::kCannotList;
    row.problem_reason = *place.list_error;
    return row;
  }
  const int directory = place.directory == nullptr
                            ? os::kWorkingDirectory
                            : DirectoryFd(*place.directory, &row.problem_reason);
  const std::string& name = place.directory == nullptr ? row.log : place.name;
  if (directory == os::kNoFile) {
    row.problem = ReadProblem::kCannotOpen;
    return row;
  }
  const LogText::OpenResult opened = text_.Open(directory, name, &row.problem_reason, place.stream);
  row.described = text_.described();
  switch (opened) {
    case LogText::OpenResult::kOpened:
      break;
    case LogText::OpenResult::kMissing:
      row.problem = ReadProblem::kMissing;
      return row;
    case LogText::OpenResult::kFailed:
      row.problem = ReadProblem::kCannotOpen;
      return row;
  }
  for (const os::FileIdentity& file : read_at_turn) row.read_at_turn |= text_.Is(file);
  if (row.read_at_turn) {
    text_.Close();
    return row;
  }
  row.scan = ScanLog(text_, wants);
  row.bytes = text_.size();
  row.modified = text_.modified();
  if (!text_.Close(&row.problem_reason)) row.problem = ReadProblem::kCannotClose;
  return row;
}

}  // namespace tabrun
