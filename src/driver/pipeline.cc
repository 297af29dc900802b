#include "driver/pipeline.h"

#include "driver/ordered_pool.h"
#include "recio/read_ahead.h"

namespace tabrun {

void ReadLogs(const LogSource& source, int jobs, const PipelineStages& stages, Console& console) {
  const std::size_t count = source.size();
  ReadAhead ahead(count, [&source](std::size_t index) { return source.PlaceOf(index).path; });
  std::vector<RowReader> readers(static_cast<std::size_t>(jobs));
  OrderedPool<ReadLog> pool(count, jobs, [&](std::size_t index, int worker) {
    RowReader& reader = readers[static_cast<std::size_t>(worker)];
    ReadLog log{reader.Read(source.PlaceOf(index), stages.wants, stages.read_at_turn), {}};
    ahead.Reached(index, reader.cold());
    if (stages.finish) stages.finish(log);
    return log;
  });
  console.StartProgress(count);
  for (std::size_t i = 0; i < count; ++i) {
    ReadLog log = pool.Next();
    stages.sink(log);
    console.Progressed(log.row.bytes.value_or(0));
  }
}

}  // namespace tabrun
