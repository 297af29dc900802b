#include "driver/compare_run.h"

#include <variant>

#include "analysis/compare.h"
#include "driver/console.h"
#include "driver/log_batch.h"
#include "driver/pipeline.h"
#include "recio/fatal.h"
#include "report/compare_page.h"
#include "report/compare_rows.h"

namespace tabrun {
namespace {

// Reads the logs of `path` into *runs, with the progress line on `console`; false when a log
// could not be read or had a CPU value that is not a number.
bool ReadBatch(const std::string& path, int jobs, Console& console, BatchRuns* runs) {
  const std::vector<std::string> paths = {path};
  const LogBatch batch(paths);
  bool read = true;
  std::size_t next = 0;
  PipelineStages<std::monostate> stages;
  stages.wants = {.rows = true, .tail_records = 0};
  stages.sink = [&](ReadLog<std::monostate>& log) {
    const RunStatus status = log.row.status();
    read = read && status != RunStatus::kUnreadable && status != RunStatus::kBadCpuValue;
    runs->Add(batch.RunName(next++), log.row);
  };
  ReadLogs(batch, jobs, stages, console);
  return read;
}

}  // namespace

int RunCompare(RowFormat format, const std::string& before, const std::string& after, int jobs) {
  Console console;
  BatchRuns before_runs;
  BatchRuns after_runs;
  const bool read_before = ReadBatch(before, jobs, console, &before_runs);
  const bool read_after = ReadBatch(after, jobs, console, &after_runs);
  const Pairing pairing = PairRuns(before_runs, after_runs);
  if (pairing.twice) {
    const std::string& path = pairing.twice_in == PairSide::kBefore ? before : after;
    PrintError("the name '" + *pairing.twice + "' is twice among the runs of '" + path +
               "': runs are paired by name");
    return 1;
  }
  std::optional<ComparePage> page;
  if (format == RowFormat::kCsv) console.Write(CompareCsvHeader());
  if (format == RowFormat::kHtml) page.emplace(before, after, MadeAt());
  for (const RunPair& pair : pairing.pairs) {
    const ComparedPair compared{before_runs, after_runs, pair};
    switch (format) {
      case RowFormat::kCsv:
        console.Write(CompareCsvRow(compared));
        break;
      case RowFormat::kJson:
        console.Write(CompareJsonRow(compared));
        break;
      case RowFormat::kHtml:
        page->Add(compared);
        break;
    }
  }
  if (page) page->WritePage([&console](std::string_view text) { console.Write(text); });
  console.Flush();
  return read_before && read_after ? 0 : 1;
}

}  // namespace tabrun
