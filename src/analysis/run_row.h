// One log read whole: where it is, what its scan says, or why it could not be read.

#ifndef TABRUN_ANALYSIS_RUN_ROW_H_
#define TABRUN_ANALYSIS_RUN_ROW_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/log_scan.h"
#include "os/file.h"
#include "recio/log_text.h"

namespace tabrun {

// Why a log could not be read.
enum class ReadProblem : std::uint8_t {
  kNone,
  kMissing,      // nothing of that name exists
  kCannotOpen,   // it exists but cannot be opened, or is a directory
  kCannotClose,  // it was read, but closing it failed
  kCannotList,   // the directory it was to be found in could not be listed
};

// Where a log is, as a source of logs hands it to a reader.
struct LogPlace {
  std::string path;  // the log as its row names it; opened from the working directory when
                     // `directory` is null
  const std::string* directory = nullptr;  // the directory it is opened in, by `name`
  std::string name;
  LogText::Stream stream = LogText::Stream::kWhatIsThere;
  // Why its directory could not be listed, when it could not: the log is then not opened.
  const std::string* list_error = nullptr;
};

// What reading one log gave. Moving it costs no allocation.
struct RunRow {
  std::string log;  // LogPlace::path
  RunScan scan;     // nothing found when the log was not read
  ReadProblem problem = ReadProblem::kNone;
  std::string problem_reason;  // the system's words for the problem
  // The default mode's log.res or standard output, left for its writer to read at its turn:
  // nothing else is set.
  bool read_at_turn = false;
  // With ScanWants::rows: the last number of the log's name (NameNumber).
  std::optional<double> name_number;
  // For a log that was read: how many bytes it held as read, and when it was last modified
  // (LogText::modified).
  std::optional<std::uint64_t> bytes;
  std::optional<std::int64_t> modified;
  // For a log that was opened: what the system said of it then, before any byte was read
  // (LogText::described), so that a watch can tell later whether it changed since.
  os::FileStatus described;
  // Set by a watch alone: the log was read, has not reached an outcome and changed lately.
  bool running = false;

  // The row's status: kUnreadable when the log could not be read, kRunning when `running`, the
  // scan's otherwise.
  RunStatus status() const {
    if (problem != ReadProblem::kNone) return RunStatus::kUnreadable;
    return running ? RunStatus::kRunning : scan.status;
  }
};

// The last number in the name of `log`, the text after its last '/'. A number is a run of the
// digits 0 to 9, together with a '.' and the run of digits right after it when they follow; the
// name is read from its start, so that "NdFeB_T005K.log" gives 5, "T12.5K.log" 12.5 and
// "a1.2.3.log" 3. It is read as a double: "run10000000000000001.log" gives 1e+16. None when the
// name holds no digit, or its last number is too large for a double.
std::optional<double> NameNumber(std::string_view log);

// Reads logs into rows, one at a time, through one LogText and the directory it last opened:
// each thread that reads keeps one. Reading a log again gives its row as the log stands then.
class RowReader {
 public:
  RowReader() = default;
  ~RowReader();
  RowReader(const RowReader&) = delete;
  RowReader& operator=(const RowReader&) = delete;

  // Opens, scans as `wants` says, describes and closes the log at `place`. A log that is one
  // of the files `read_at_turn` names is closed again unread, and its row says so.
  RunRow Read(LogPlace place, const ScanWants& wants,
              const std::vector<os::FileIdentity>& read_at_turn = {});

  // True when some of the last log read had to come from the disk.
  bool cold() const { return text_.cold(); }

 private:
  // A handle of `directory`, or os::kNoFile with the system's reason in *error.
  int DirectoryFd(const std::string& directory, std::string* error);

  LogText text_;
  const std::string* directory_ = nullptr;  // whose handle directory_fd_ is
  int directory_fd_ = os::kNoFile;
  std::string directory_error_;
};

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_RUN_ROW_H_
