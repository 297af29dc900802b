#include "driver/direct_run.h"

#include <sys/stat.h>

#include <map>

#include "analysis/log_scan.h"
#include "driver/console.h"
#include "recio/log_directory.h"
#include "recio/log_text.h"
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
  Console console;
  console.StartProgress(logs.paths.size());
  if (format == RowFormat::kCsv) console.Write(CsvHeader());
  LogText log;
  int status = 0;
  for (std::size_t i = 0; i < logs.paths.size(); ++i) {
    ahead.Reached(i);
    std::uint64_t bytes = 0;
    const auto listing_error = logs.errors.find(i);
    const ScriptRow row = listing_error != logs.errors.end()
                              ? UnreadableRow(logs.paths[i], listing_error->second)
                              : RowOf(logs.paths[i], log, &bytes);
    if (!row.error.empty()) status = 1;  // unreadable, or a CPU value that is not a number
    console.Progressed(bytes);
    console.Write(format == RowFormat::kCsv ? CsvRow(row) : JsonRow(row));
  }
  console.Flush();
  return status;
}

}  // namespace tabrun
