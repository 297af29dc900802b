#include "driver/direct_run.h"

#include <sys/stat.h>
#include <unistd.h>

#include "analysis/log_scan.h"
#include "driver/progress.h"
#include "recio/fatal.h"
#include "recio/log_directory.h"
#include "recio/log_text.h"
#include "recio/output_unit.h"
#include "report/script_rows.h"

namespace tabrun {
namespace {

// A log to read, or a path that could not be listed.
struct Source {
  std::string path;
  std::string error;  // why the directory `path` could not be read; empty for a log
};

// The logs that `paths` stand for, in order.
std::vector<Source> Sources(const std::vector<std::string>& paths) {
  std::vector<Source> sources;
  std::vector<std::string> names;
  for (const std::string& path : paths) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      sources.push_back({path, {}});
      continue;
    }
    std::string error;
    if (!ListLogNames(path, &names, &error)) {
      sources.push_back({path, "cannot read the directory: " + error});
      continue;
    }
    const std::string prefix = path == "." ? "" : path.ends_with('/') ? path : path + "/";
    for (const std::string& name : names) sources.push_back({prefix + name, {}});
  }
  return sources;
}

// Reads one log into its row, and counts its bytes in *bytes.
ScriptRow RowOf(const Source& source, LogText& log, std::uint64_t* bytes) {
  if (!source.error.empty()) return UnreadableRow(source.path, source.error);
  std::string error;
  if (log.Open(source.path, &error) != LogText::OpenResult::kOpened) {
    return UnreadableRow(source.path, "cannot open: " + error);
  }
  ScriptRow row = RowOfScan(source.path, ScanLog(log));
  *bytes += log.size();
  if (!log.Close(&error)) return UnreadableRow(source.path, "cannot close: " + error);
  return row;
}

}  // namespace

int RunDirect(RowFormat format, const std::vector<std::string>& paths) {
  OutputUnit out(STDOUT_FILENO);
  std::string error;
  const auto write = [&](const std::string& text) {
    if (!out.Write(text, &error)) FatalIoError("*", "standard output", "cannot write", error);
  };
  if (format == RowFormat::kCsv) write(CsvHeader());

  const std::vector<Source> sources = Sources(paths);
  Progress progress(sources.size());
  LogText log;
  int status = 0;
  for (const Source& source : sources) {
    std::uint64_t bytes = 0;
    const ScriptRow row = RowOf(source, log, &bytes);
    if (row.status == "unreadable" || row.status == "bad_cpu_value") status = 1;
    progress.Done(bytes);
    progress.BeforeOutput();
    write(format == RowFormat::kCsv ? CsvRow(row) : JsonRow(row));
  }
  progress.Erase();
  if (!out.Flush(&error)) FatalIoError("*", "standard output", "cannot write", error);
  return status;
}

}  // namespace tabrun
