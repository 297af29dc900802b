#include "driver/direct_run.h"

#include <cstdlib>
#include <ctime>
#include <optional>

#include "analysis/log_scan.h"
#include "driver/console.h"
#include "driver/ordered_pool.h"
#include "os/directory.h"
#include "os/file.h"
#include "recio/fatal.h"
#include "recio/log_directory.h"
#include "recio/log_text.h"
#include "recio/number.h"
#include "recio/read_ahead.h"
#include "report/html_report.h"
#include "report/script_rows.h"

namespace tabrun {
namespace {

constexpr std::size_t kNoDirectory = ~std::size_t{0};

// The logs that the PATH operands stand for, in order.
struct Batch {
  struct Log {
    std::size_t directory;  // index into directories, or kNoDirectory for a file PATH
    std::string name;       // relative to that directory, or the PATH itself
    std::string error;      // why the directory PATH could not be listed, when it could not
  };
  std::vector<std::string> directories;
  std::vector<Log> logs;

  // The log as its row names it: the directory PATH joined by '/' to the name (for ".",
  // the bare name).
  std::string PathOf(const Log& log) const {
    if (log.directory == kNoDirectory) return log.name;
    const std::string& directory = directories[log.directory];
    if (directory == ".") return log.name;
    return directory + (directory.ends_with('/') ? "" : "/") + log.name;
  }
};

Batch BatchOf(const std::vector<std::string>& paths) {
  Batch batch;
  std::vector<std::string> names;
  for (const std::string& path : paths) {
    std::string error;
    if (!os::IsDirectory(path)) {
      batch.logs.push_back({kNoDirectory, path, {}});
    } else if (!ListLogNames(path, &names, &error)) {
      batch.logs.push_back({kNoDirectory, path, "cannot read the directory: " + error});
    } else {
      batch.directories.push_back(path);
      for (std::string& name : names) {
        batch.logs.push_back({batch.directories.size() - 1, std::move(name), {}});
      }
    }
  }
  return batch;
}

// What reading one log gives.
struct LogRead {
  ScriptRow row;
  HtmlReport::Cells cells;  // for the page: the row as its columns carry it, and its tail
  std::uint64_t bytes = 0;
};

// One worker's reader, and the directory it has open: entries are opened relative to their
// directory, so that a path of any length works.
class Reader {
 public:
  Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() {
    if (directory_fd_ != os::kNoFile) os::CloseFile(directory_fd_);
  }

  // Reads `log` of `batch` into its row, and for the page (`page`) its cells and, when it
  // failed, the end of the log.
  LogRead Read(const Batch& batch, const Batch::Log& log, bool page) {
    std::vector<std::string> tail;
    LogRead read = Scan(batch, log, page ? &tail : nullptr);
    if (page) read.cells = HtmlReport::Encode(read.row, tail);
    return read;
  }

  bool cold() const { return text_.cold(); }

 private:
  // The row of `log`, and into *tail, when given, the end of a log that failed.
  LogRead Scan(const Batch& batch, const Batch::Log& log, std::vector<std::string>* tail) {
    std::string path = batch.PathOf(log);
    if (!log.error.empty()) return {UnreadableRow(std::move(path), log.error), {}, 0};
    std::string error;
    const int directory = DirectoryFd(batch, log.directory, &error);
    if (directory == os::kNoFile || text_.Open(directory, log.name, &error) != LogText::OpenResult::kOpened) {
      return {UnreadableRow(std::move(path), "cannot open: " + error), {}, 0};
    }
    LogRead read{RowOfScan(std::move(path), ScanLog(text_)), {}, 0};
    if (read.row.status != "ok") {
      read.row.last_record = Printable(text_.LastNonBlankRecord());
      if (tail != nullptr) *tail = text_.LastRecords(HtmlReport::kTailRecords);
    }
    read.bytes = text_.size();
    if (!text_.Close(&error)) read.row = UnreadableRow(read.row.log, "cannot close: " + error);
    return read;
  }

  // A handle of directory `index` of `batch`, or os::kWorkingDirectory for kNoDirectory;
  // os::kNoFile with the reason when it cannot be opened.
  int DirectoryFd(const Batch& batch, std::size_t index, std::string* error) {
    if (index == kNoDirectory) return os::kWorkingDirectory;
    if (index != directory_) {
      if (directory_fd_ != os::kNoFile) os::CloseFile(directory_fd_);
      directory_ = index;
      directory_fd_ = os::OpenDirectory(batch.directories[index], &directory_error_);
    }
    if (directory_fd_ == os::kNoFile) *error = directory_error_;
    return directory_fd_;
  }

  LogText text_;
  std::size_t directory_ = kNoDirectory;
  int directory_fd_ = os::kNoFile;
  std::string directory_error_;
};

// When the report is said to have been made: SOURCE_DATE_EPOCH when it holds a number of
// seconds, so that two reports of one batch can be the same to the byte, otherwise now.
std::int64_t MadeAt() {
  const char* epoch = std::getenv("SOURCE_DATE_EPOCH");
  if (epoch != nullptr) {
    if (const auto seconds = WholeInteger<std::int64_t>(epoch)) return *seconds;
  }
  return static_cast<std::int64_t>(std::time(nullptr));
}

}  // namespace

int RunDirect(RowFormat format, const std::vector<std::string>& paths, int jobs) {
  const Batch batch = BatchOf(paths);
  const bool page = format == RowFormat::kHtml;
  ReadAhead ahead(batch.logs.size(),
                  [&batch](std::size_t index) { return batch.PathOf(batch.logs[index]); });
  std::vector<Reader> readers(static_cast<std::size_t>(jobs));
  OrderedPool<LogRead> pool(batch.logs.size(), jobs, [&](std::size_t index, int worker) {
    Reader& reader = readers[static_cast<std::size_t>(worker)];
    LogRead read = reader.Read(batch, batch.logs[index], page);
    ahead.Reached(index, reader.cold());
    return read;
  });

  Console console;
  console.StartProgress(batch.logs.size());
  if (format == RowFormat::kCsv) console.Write(CsvHeader());
  std::optional<HtmlReport> report;
  if (format == RowFormat::kHtml) report.emplace(paths, MadeAt());
  int status = 0;
  for (std::size_t i = 0; i < batch.logs.size(); ++i) {
    const LogRead read = pool.Next();
    if (!read.row.error.empty()) status = 1;  // unreadable, or a CPU value that is not a number
    console.Progressed(read.bytes);
    switch (format) {
      case RowFormat::kCsv: console.Write(CsvRow(read.row)); break;
      case RowFormat::kJson: console.Write(JsonRow(read.row)); break;
      case RowFormat::kHtml: report->Add(read.row, read.cells); break;
    }
  }
  if (report) report->WritePage([&console](std::string_view text) { console.Write(text); });
  console.Flush();
  return status;
}

}  // namespace tabrun
