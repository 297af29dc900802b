// Reading a batch of logs: a source of logs, a parallel scan, an in-order sink. Every mode that
// reads logs is one more user of it, and reading some logs again is one more call.

#ifndef TABRUN_DRIVER_PIPELINE_H_
#define TABRUN_DRIVER_PIPELINE_H_

#include <cstddef>
#include <functional>
#include <vector>

#include "analysis/run_row.h"
#include "driver/console.h"
#include "driver/ordered_pool.h"
#include "os/file.h"
#include "recio/read_ahead.h"

namespace tabrun {

// The logs a pipeline reads, by index from 0 to size() - 1.
class LogSource {
 public:
  virtual ~LogSource() = default;
  virtual std::size_t size() const = 0;
  // Where log `index` is. Called from several threads at once.
  virtual LogPlace PlaceOf(std::size_t index) const = 0;
};

// One log as it goes through the pipeline: its row, and what the scan stage made of it for the
// sink (the page's cells; std::monostate, which takes no room, for a sink that needs nothing).
template <typename Extra>
struct ReadLog {
  RunRow row;
  [[no_unique_address]] Extra extra;
};

// What the pipeline does with each log besides reading it.
template <typename Extra>
struct PipelineStages {
  ScanWants wants;
  // Logs that the sink reads itself, at its turn (RowReader::Read).
  std::vector<os::FileIdentity> read_at_turn;
  // Runs on the thread that read the log, right after, when given.
  std::function<void(ReadLog<Extra>&)> finish;
  // Runs on the calling thread, once per log in the order of the source.
  std::function<void(ReadLog<Extra>&)> sink;
};

// Reads every log of `source` on `jobs` threads (a RowReader each) and hands them to the sink in
// order; at most a bounded window of logs is read ahead of it, however many there are, and the
// system is asked to read ahead from the disk when the logs are not in its cache. The progress
// line on `console` counts each log, and the bytes its row says it held, once the sink is done
// with it. Returns when the sink has had the last log.
template <typename Extra>
void ReadLogs(const LogSource& source, int jobs, const PipelineStages<Extra>& stages,
              Console& console) {
  const std::size_t count = source.size();
  ReadAhead ahead(count, [&source](std::size_t index) { return source.PlaceOf(index).path; });
  std::vector<RowReader> readers(static_cast<std::size_t>(jobs));
  OrderedPool<ReadLog<Extra>> pool(count, jobs, [&](std::size_t index, int worker) {
    RowReader& reader = readers[static_cast<std::size_t>(worker)];
    ReadLog<Extra> log{reader.Read(source.PlaceOf(index), stages.wants, stages.read_at_turn), {}};
    ahead.Reached(index, reader.cold());
    if (stages.finish) stages.finish(log);
    return log;
  });
  console.StartProgress(count);
  for (std::size_t i = 0; i < count; ++i) {
    ReadLog<Extra> log = pool.Next();
    stages.sink(log);
    console.Progressed(log.row.bytes.value_or(0));
  }
}

}  // namespace tabrun

#endif  // TABRUN_DRIVER_PIPELINE_H_
