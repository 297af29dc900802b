#include "driver/direct_run.h"

#include <algorithm>
#include <optional>

#include "driver/console.h"
#include "driver/pipeline.h"
#include "os/directory.h"
#include "recio/log_directory.h"
#include "recio/name_list.h"
#include "report/html_report.h"
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

}  // namespace

int RunDirect(RowFormat format, const std::vector<std::string>& paths, int jobs) {
  const Batch batch(paths);
  Console console;
  if (format == RowFormat::kCsv) console.Write(CsvHeader());
  std::optional<HtmlReport> report;
  if (format == RowFormat::kHtml) report.emplace(paths, HtmlReport::MadeAt());
  int status = 0;
  PipelineStages<HtmlReport::Cells> stages;
  stages.wants = {.rows = true, .tail_records = report ? HtmlReport::kTailRecords : 0};
  // The page's cells are made where the log was read, to spare the thread that writes.
  if (report) {
    stages.finish = [](ReadLog<HtmlReport::Cells>& log) {
      log.extra = HtmlReport::Encode(log.row);
    };
  }
  stages.sink = [&](ReadLog<HtmlReport::Cells>& log) {
    const RunStatus row_status = log.row.status();
    if (row_status == RunStatus::kUnreadable || row_status == RunStatus::kBadCpuValue) status = 1;
    switch (format) {
      case RowFormat::kCsv:
        console.Write(CsvRow(log.row));
        break;
      case RowFormat::kJson:
        console.Write(JsonRow(log.row));
        break;
      case RowFormat::kHtml:
        report->Add(log.extra);
        break;
    }
  };
  ReadLogs(batch, jobs, stages, console);
  if (report) report->WritePage([&console](std::string_view text) { console.Write(text); });
  console.Flush();
  return status;
}

}  // namespace tabrun
