#include "analysis/run_row.h"

#include <cmath>

#include "os/directory.h"
#include "recio/number.h"

namespace tabrun {

namespace {

bool IsDigit(std::string_view text, std::size_t i) {
  return i < text.size() && text[i] >= '0' && text[i] <= '9';
}

// The end of the number that starts at text[i], a digit: its run of digits, with a '.' and the
// run of digits right after it when they follow.
std::size_t NumberEnd(std::string_view text, std::size_t i) {
  while (IsDigit(text, i)) ++i;
  if (IsDigit(text, i + 1) && text[i] == '.') {
    for (++i; IsDigit(text, i);) ++i;
  }
  return i;
}

// The value of a number that NumberEnd delimits; none when it is too large for a double.
std::optional<double> NumberValue(std::string_view digits) {
  double value = 0;
  if (ReadReal(digits, &value) == RealReadResult::kValue && std::isfinite(value)) return value;
  return std::nullopt;
}

}  // namespace

std::optional<double> NameNumber(std::string_view log) {
  const std::string_view name = log.substr(log.rfind('/') + 1);  // npos + 1 is 0
  std::optional<double> number;
  for (std::size_t i = 0; i < name.size();) {
    if (!IsDigit(name, i)) {
      ++i;
      continue;
    }
    const std::size_t end = NumberEnd(name, i);
    number = NumberValue(name.substr(i, end - i));
    i = end;
  }
  return number;
}

bool NaturalLess(std::string_view a, std::string_view b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (IsDigit(a, i) && IsDigit(b, j)) {
      const std::size_t a_end = NumberEnd(a, i);
      const std::size_t b_end = NumberEnd(b, j);
      // A number too large for a double is larger than any that fits, as the page reads it.
      const double x = NumberValue(a.substr(i, a_end - i)).value_or(HUGE_VAL);
      const double y = NumberValue(b.substr(j, b_end - j)).value_or(HUGE_VAL);
      if (x != y) return x < y;
      i = a_end;
      j = b_end;
      continue;
    }
    // A number stands as a '0' against any other byte.
    const unsigned char x = IsDigit(a, i) ? '0' : static_cast<unsigned char>(a[i]);
    const unsigned char y = IsDigit(b, j) ? '0' : static_cast<unsigned char>(b[j]);
    if (x != y) return x < y;
    ++i;
    ++j;
  }
  if (i < a.size() || j < b.size()) return j < b.size();  // the shorter key first
  return a < b;
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
