#include "driver/direct_run.h"

#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "analysis/log_scan.h"
#include "driver/progress.h"
#include "recio/fatal.h"
#include "recio/log_directory.h"
#include "recio/log_text.h"
#include "recio/output_unit.h"
#include "recio/read_ahead.h"
#include "report/script_rows.h"

namespace tabrun {
namespace {

// The logs that `paths` stand for, in order, and why the directories among them that could
// not be listed could not be, by their place in the list.
struct Logs {
  std::vector<std::string> paths;
  std::map<std::size_t, std::string> errors;
};

Logs LogsOf(const std::vector<std::string>& paths) {
  Logs logs;
  std::vector<std::string> names;
  for (const std::string& path : paths) {
    struct stat st;
    std::string error;
    if (stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      logs.paths.push_back(path);
    } else if (!ListLogNames(path, &names, &error)) {
      logs.errors[logs.paths.size()] = "cannot read the directory: " + error;
      logs.paths.push_back(path);
    } else {
      const std::string prefix = path == "." ? "" : path.ends_with('/') ? path : path + "/";
      for (const std::string& name : names) logs.paths.push_back(prefix + name);
    }
  }
  return logs;
}

// Reads the log `path` into its row, and counts its bytes in *bytes.
ScriptRow RowOf(const std::string& path, LogText& log, std::uint64_t* bytes) {
  std::string error;
  if (log.Open(path, &error) != LogText::OpenResult::kOpened) {
    return UnreadableRow(path, "cannot open: " + error);
  }
  ScriptRow row = RowOfScan(path, ScanLog(log));
  *bytes += log.size();
  if (!log.Close(&error)) return UnreadableRow(path, "cannot close: " + error);
  return row;
}

}  // namespace

int RunDirect(RowFormat format, const std::vector<std::string>& paths) {
  const Logs logs = LogsOf(paths);
  ReadAhead ahead(logs.paths);
  Progress progress(logs.paths.size());
  OutputUnit out(STDOUT_FILENO);
  std::string error;
  const auto write = [&](const std::string& text) {
    progress.BeforeOutput();
    if (out.Write(text, &error)) return;
    progress.Erase();
    FatalIoError("*", "standard output", "cannot write", error);
  };
  if (format == RowFormat::kCsv) write(CsvHeader());

  LogText log;
  int status = 0;
  for (std::size_t i = 0; i < logs.paths.size(); ++i) {
    ahead.Reached(i);
    std::uint64_t bytes = 0;
    const auto listing_error = logs.errors.find(i);
    const ScriptRow row = listing_error != logs.errors.end()
                              ? UnreadableRow(logs.paths[i], listing_error->second)
                              : RowOf(logs.paths[i], log, &bytes);
    if (row.status == "unreadable" || row.status == "bad_cpu_value") status = 1;
    progress.Done(bytes);
    write(format == RowFormat::kCsv ? CsvRow(row) : JsonRow(row));
  }
  progress.Erase();
  if (!out.Flush(&error)) FatalIoError("*", "standard output", "cannot write", error);
  return status;
}

}  // namespace tabrun
