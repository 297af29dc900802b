#include "driver/direct_run.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "driver/console.h"
#include "driver/log_batch.h"
#include "driver/pipeline.h"
#include "os/file.h"
#include "recio/fatal.h"
#include "recio/number.h"
#include "report/html_report.h"
#include "report/row_file.h"
#include "report/script_rows.h"

namespace tabrun {

std::int64_t MadeAt() {
  const char* epoch = std::getenv("SOURCE_DATE_EPOCH");
  if (epoch != nullptr) {
    if (const auto seconds = WholeInteger<std::int64_t>(epoch)) return *seconds;
  }
  return static_cast<std::int64_t>(std::time(nullptr));
}

namespace {

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

  // Writes `row`, which has the status `status`; `cells` are its cells when the output is the
  // page.
  template <typename Row>
  void Put(const Row& row, RunStatus status, const HtmlReport::Cells& cells) {
    if (status == RunStatus::kUnreadable || status == RunStatus::kBadCpuValue) status_ = 1;
    switch (format_) {
      case RowFormat::kCsv:
        console_.Write(CsvRow(row));
        break;
      case RowFormat::kJson:
        console_.Write(JsonRow(row));
        break;
      case RowFormat::kHtml:
        report_->Add(cells);
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
  const LogBatch batch(paths);
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
    output.Put(log.row, log.row.status(), log.extra);
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
      output.Put(row, row.status, output.page() ? HtmlReport::Encode(row) : HtmlReport::Cells());
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
