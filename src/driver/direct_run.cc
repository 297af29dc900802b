#include "driver/direct_run.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "driver/console.h"
#include "driver/pipeline.h"
#include "os/directory.h"
#include "os/file.h"
#include "recio/fatal.h"
#include "recio/log_directory.h"
#include "recio/name_list.h"
#include "recio/number.h"
#include "report/html_report.h"
#include "report/row_file.h"
#include "report/script_rows.h"

namespace tabrun {
namespace {

// The logs that the PATH operands stand for, in order. Their names are packed, so that a
// batch of a million logs holds them in a few tens of MB.
class Batch : public LogSource {
 public:
  explicit Batch(const std::vector<std::string>& paths) {
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

  std::size_t size() const override { return names_.size(); }

  // Log `index` as its row names it: the directory PATH joined by '/' to the name (for ".",
  // the bare name). A pipe named as a PATH, as in --csv <(zcat run.log.gz), is read to its end;
  // one found in a directory, like the default mode's, only as far as it holds bytes now.
  LogPlace PlaceOf(std::size_t index) const override {
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

 private:
  // The logs of one PATH: a directory's *.log entries, or the PATH itself.
  struct Operand {
    std::size_t first_log;
    const std::string* directory;  // the PATH when it is a directory that was listed
    std::string error;             // why the directory PATH could not be listed, when it could not
  };

  // The operand that log `index` comes from.
  const Operand& OperandOf(std::size_t index) const {
    return *--std::upper_bound(operands_.begin(), operands_.end(), index,
                               [](std::size_t i, const Operand& o) { return i < o.first_log; });
  }

  std::vector<Operand> operands_;
  NameList names_;  // of each log: relative to its directory, or the PATH itself
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

// What every direct mode writes, from rows of either kind: the CSV header first, then each
// row as it comes (for the page, its cells), the page at the end; and the exit status that the
// rows call for.
class Output {
 public:
  Output(RowFormat format, const std::vector<std::string>& paths, HtmlReport::Input input)
      : format_(format) {
    if (format == RowFormat::kCsv) console_.Write(CsvHeader());
    if (format == RowFormat::kHtml) report_.emplace(paths, MadeAt(), input);
  }

  bool page() const { return report_.has_value(); }
  Console& console() { return console_; }

  // Writes `row`, which names the log `log` and has the status `status`; `cells` are its cells
  // when the output is the page.
  template <typename Row>
  void Put(const Row& row, std::string_view log, RunStatus status, const HtmlReport::Cells& cells) {
    if (status == RunStatus::kUnreadable || status == RunStatus::kBadCpuValue) status_ = 1;
    switch (format_) {
      case RowFormat::kCsv:
        console_.Write(CsvRow(row));
        break;
      case RowFormat::kJson:
        console_.Write(JsonRow(row));
        break;
      case RowFormat::kHtml:
        report_->Add(log, cells);
        break;
    }
  }

  // Writes the page, when it is one, and whatever is buffered; returns the exit status.
  int Finish() {
    if (report_) report_->WritePage([this](std::string_view text) { console_.Write(text); });
    console_.Flush();
    return status_;
  }

 private:
  const RowFormat format_;
  Console console_;
  std::optional<HtmlReport> report_;
  int status_ = 0;
};

// Opens the row file `file`, "-" for standard input, into *fd; false with the message when it
// cannot be read.
bool OpenRowFile(const std::string& file, int* fd, std::string* error) {
  *fd = os::kStandardInput;
  if (file == "-") return true;
  std::string reason;
  os::FileStatus status;
  if (os::OpenForReading(os::kWorkingDirectory, file, fd, &reason) != os::OpenResult::kOpened) {
    *error = file + ": cannot open: " + reason;
    return false;
  }
  if (!os::Describe(*fd, &status, &reason) || status.kind == os::FileKind::kDirectory) {
    *error = file + ": cannot open: " +
             (status.kind == os::FileKind::kDirectory ? os::IsDirectoryText() : reason);
    os::CloseFile(*fd);
    return false;
  }
  return true;
}

}  // namespace

int RunDirect(RowFormat format, const std::vector<std::string>& paths, int jobs) {
  const Batch batch(paths);
  Output output(format, paths, HtmlReport::Input::kLogs);
  PipelineStages<HtmlReport::Cells> stages;
  stages.wants = {.rows = true, .tail_records = output.page() ? HtmlReport::kTailRecords : 0};
  // The page's cells are made where the log was read, to spare the thread that writes.
  if (output.page()) {
    stages.finish = [](ReadLog<HtmlReport::Cells>& log) {
      log.extra = HtmlReport::Encode(log.row);
    };
  }
  stages.sink = [&output](ReadLog<HtmlReport::Cells>& log) {
    output.Put(log.row, log.row.log, log.row.status(), log.extra);
  };
  ReadLogs(batch, jobs, stages, output.console());
  return output.Finish();
}

int RunFromRows(RowFormat format, const std::vector<std::string>& files) {
  Output output(format, files, HtmlReport::Input::kRows);
  WrittenRow row;
  for (const std::string& file : files) {
    int fd = os::kNoFile;
    std::string error;
    if (!OpenRowFile(file, &fd, &error)) {
      output.console().Flush();
      PrintError(error);
      return kBadRowsExitStatus;
    }
    RowFile rows(file == "-" ? "standard input" : file,
                 [fd](char* out, std::size_t length, std::string* reason) {
                   return os::ReadNext(fd, out, length, true, reason);
                 });
    RowFile::Result result;
    while ((result = rows.Next(&row)) == RowFile::Result::kRow) {
      output.Put(row, row.cells[0], row.status,
                 output.page() ? HtmlReport::Encode(row) : HtmlReport::Cells());
    }
    if (fd != os::kStandardInput) os::CloseFile(fd);
    if (result == RowFile::Result::kError) {
      output.console().Flush();
      PrintError(rows.error());
      return kBadRowsExitStatus;
    }
  }
  return output.Finish();
}

}  // namespace tabrun
