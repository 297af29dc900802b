#include "driver/compare_run.h"

#include <algorithm>
#include <future>
#include <variant>

#include "analysis/compare.h"
#include "driver/console.h"
#include "driver/log_batch.h"
#include "driver/pipeline.h"
#include "os/cpus.h"
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

// Writes the row that row(pair) makes of each of `pairs`, in order. The rows are made in blocks,
// up to `jobs` blocks at a time on as many threads (no more than the CPUs), so that the rows of
// 200,000 pairs take little longer than the reading of their logs; memory holds the text of
// those blocks only.
template <typename MakeRow>
void WriteRows(const std::vector<RunPair>& pairs, int jobs, const MakeRow& row, Console& console) {
  constexpr std::size_t kBlock = 512;
  const std::size_t threads =
      static_cast<std::size_t>(std::max(1, std::min(jobs, os::UsableCpus())));
  const auto block = [&pairs, &row](std::size_t from) {
    std::string text;
    for (std::size_t i = from; i < std::min(from + kBlock, pairs.size()); ++i) {
      text += row(pairs[i]);
    }
    return text;
  };
  for (std::size_t from = 0; from < pairs.size(); from += kBlock * threads) {
    // The default policy makes the block on this thread when no thread can be started.
    std::vector<std::future<std::string>> others;
    for (std::size_t k = 1; k < threads && from + k * kBlock < pairs.size(); ++k) {
      others.push_back(std::async(block, from + k * kBlock));
    }
    console.Write(block(from));
    for (std::future<std::string>& other : others) console.Write(other.get());
  }
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
  const auto csv = [&](const RunPair& pair) {
    return CompareCsvRow({before_runs, after_runs, pair});
  };
  const auto json = [&](const RunPair& pair) {
    return CompareJsonRow({before_runs, after_runs, pair});
  };
  if (format == RowFormat::kCsv) {
    console.Write(CompareCsvHeader());
    WriteRows(pairing.pairs, jobs, csv, console);
  } else if (format == RowFormat::kJson) {
    WriteRows(pairing.pairs, jobs, json, console);
  } else {
    ComparePage page(before, after, MadeAt());
    for (const RunPair& pair : pairing.pairs) page.Add({before_runs, after_runs, pair});
    page.WritePage([&console](std::string_view text) { console.Write(text); });
  }
  console.Flush();
  return read_before && read_after ? 0 : 1;
}

}  // namespace tabrun
