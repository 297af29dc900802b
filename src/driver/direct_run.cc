#include "driver/direct_run.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "driver/console.h"
#include "driver/log_batch.h"
#include "driver/pipeline.h"
#include "recio/number.h"
#include "report/html_report.h"
#include "report/script_rows.h"

namespace tabrun {

std::int64_t MadeAt() {
  const char* epoch = std::getenv("SOURCE_DATE_EPOCH");
  if (epoch != nullptr) {
    if (const auto seconds = WholeInteger<std::int64_t>(epoch)) return *seconds;
  }
  return static_cast<std::int64_t>(std::time(nullptr));
}

int RunDirect(RowFormat format, const std::vector<std::string>& paths, int jobs) {
  const LogBatch batch(paths);
  Console console;
  if (format == RowFormat::kCsv) console.Write(CsvHeader());
  std::optional<HtmlReport> report;
  if (format == RowFormat::kHtml) report.emplace(paths, MadeAt());
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
