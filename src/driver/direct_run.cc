#include "driver/direct_run.h"

#include <algorithm>
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
#include "recio/name_list.h"
#include "recio/number.h"
#include "recio/read_ahead.h"
#include "report/html_report.h"
#include "report/script_rows.h"

namespace tabrun {
namespace {

// The logs that the PATH operands stand for, in order. Their names are packed, so that a
// batch of a million logs holds them in a few tens of MB.
struct Batch {
  // The logs of one PATH: a directory's *.log entries, or the PATH itself.
  struct Operand {
    std::size_t first_log;
    const std::string* directory;  // the PATH when it is a directory that was listed
    std::string error;             // why the directory PATH could not be listed, when it could not
  };
  std::vector<Operand> operands;
  NameList names;  // of each log: relative to its directory, or the PATH itself

  std::size_t size() const { return names.size(); }

  // The operand that log `index` comes from.
  const Operand& OperandOf(std::size_t index) const {
    return *--std::upper_bound(operands.begin(), operands.end(), index,
                               [](std::size_t i, const Operand& o) { return i < o.first_log; });
  }

  // Log `index` as its row names it: the directory PATH joined by '/' to the name (for ".",
  // the bare name).
  std::string PathOf(std::size_t index) const {
    const std::string* directory = OperandOf(index).directory;
    std::string path(names[index]);
    if (directory == nullptr || *directory == ".") return path;
    return *directory + (directory->ends_with('/') ? "" : "/") + path;
  }
};

Batch BatchOf(const std::vector<std::string>& paths) {
  Batch batch;
  for (const std::string& path : paths) {
    Batch::Operand operand{batch.size(), nullptr, {}};
    if (!os::IsDirectory(path)) {
      batch.names.Add(path);
    } else if (!ListLogNames(path, &batch.names, &operand.error)) {
      operand.error.insert(0, "cannot read the directory: ");
      batch.names.Add(path);
    } else {
      operand.directory = &path;
    }
    // A directory without logs adds no operand: the next log's is the one it would find.
    if (batch.size() > operand.first_log) batch.operands.push_back(std::move(operand));
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

  // Reads log `index` of `batch` into its row, and for the page (`page`) its cells and, when
  // it failed, the end of the log.
  LogRead Read(const Batch& batch, std::size_t index, bool page) {
    std::vector<std::string> tail;
    LogRead read = Scan(batch, index, page ? &tail : nullptr);
    if (page) read.cells = HtmlReport::Encode(read.row, tail);
    return read;
  }

  bool cold() const { return text_.cold(); }

 private:
  // The row of log `index`, and into *tail, when given, the end of a log that failed.
  LogRead Scan(const Batch& batch, std::size_t index, std::vector<std::string>* tail) {
    std::string path = batch.PathOf(index);
    const Batch::Operand& operand = batch.OperandOf(index);
    if (!operand.error.empty()) return {UnreadableRow(std::move(path), operand.error), {}, 0};
    std::string error;
    const int directory = DirectoryFd(operand, &error);
    const std::string name(batch.names[index]);
    // A pipe named as a PATH, as in --csv <(zcat run.log.gz), is read to its end; one found in
    // a directory, like the default mode's, only as far as it holds bytes now.
    const auto stream = operand.directory == nullptr ? LogText::Stream::kPipeToItsEnd
                                                     : LogText::Stream::kWhatIsThere;
    if (directory == os::kNoFile ||
        text_.Open(directory, name, &error, stream) != LogText::OpenResult::kOpened) {
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

  // A handle of the directory of `operand`, or os::kWorkingDirectory for a file PATH;
  // os::kNoFile with the reason when it cannot be opened.
  int DirectoryFd(const Batch::Operand& operand, std::string* error) {
    if (operand.directory == nullptr) return os::kWorkingDirectory;
    if (&operand != directory_) {
      if (directory_fd_ != os::kNoFile) os::CloseFile(directory_fd_);
      directory_ = &operand;
      directory_fd_ = os::OpenDirectory(*operand.directory, &directory_error_);
    }
    if (directory_fd_ == os::kNoFile) *error = directory_error_;
    return directory_fd_;
  }

  LogText text_;
  const Batch::Operand* directory_ = nullptr;  // whose directory directory_fd_ is
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
  ReadAhead ahead(batch.size(), [&batch](std::size_t index) { return batch.PathOf(index); });
  std::vector<Reader> readers(static_cast<std::size_t>(jobs));
  OrderedPool<LogRead> pool(batch.size(), jobs, [&](std::size_t index, int worker) {
    Reader& reader = readers[static_cast<std::size_t>(worker)];
    LogRead read = reader.Read(batch, index, page);
    ahead.Reached(index, reader.cold());
    return read;
  });

  Console console;
  console.StartProgress(batch.size());
  if (format == RowFormat::kCsv) console.Write(CsvHeader());
  std::optional<HtmlReport> report;
  if (format == RowFormat::kHtml) report.emplace(paths, MadeAt());
  int status = 0;
  for (std::size_t i = 0; i < batch.size(); ++i) {
    const LogRead read = pool.Next();
    if (!read.row.error.empty()) status = 1;  // unreadable, or a CPU value that is not a number
    console.Progressed(read.bytes);
    switch (format) {
      case RowFormat::kCsv:
        console.Write(CsvRow(read.row));
        break;
      case RowFormat::kJson:
        console.Write(JsonRow(read.row));
        break;
      case RowFormat::kHtml:
        report->Add(read.row, read.cells);
        break;
    }
  }
  if (report) report->WritePage([&console](std::string_view text) { console.Write(text); });
  console.Flush();
  return status;
}

}  // namespace tabrun
