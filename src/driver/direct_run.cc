#include "driver/direct_run.h"

#include <sys/stat.h>

#include <charconv>
#include <cstdlib>
#include <ctime>
#include <map>
#include <optional>

#include "analysis/log_scan.h"
#include "driver/console.h"
#include "recio/log_directory.h"
#include "recio/log_text.h"
#include "recio/read_ahead.h"
#include "report/html_report.h"
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

// What reading one log gives.
struct LogRead {
  ScriptRow row;
  std::vector<std::string> tail;  // the end of a log that failed, when it is wanted
  std::uint64_t bytes = 0;
};

// Reads the log `path` into its row, and for a log that failed the end of it when `tail`.
LogRead Read(const std::string& path, LogText& log, bool tail) {
  std::string error;
  if (log.Open(path, &error) != LogText::OpenResult::kOpened) {
    return {UnreadableRow(path, "cannot open: " + error), {}, 0};
  }
  LogRead read{RowOfScan(path, ScanLog(log)), {}, 0};
  if (tail && read.row.status != "ok") read.tail = log.LastRecords(HtmlReport::kTailRecords);
  read.bytes = log.size();
  if (!log.Close(&error)) read.row = UnreadableRow(path, "cannot close: " + error);
  return read;
}

// When the report is said to have been made: SOURCE_DATE_EPOCH when it holds a number of
// seconds, so that two reports of one batch can be the same to the byte, otherwise now.
std::int64_t MadeAt() {
  const char* epoch = std::getenv("SOURCE_DATE_EPOCH");
  std::int64_t seconds = 0;
  if (epoch != nullptr) {
    const std::string_view text(epoch);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error == std::errc() && end == text.data() + text.size() && !text.empty()) return seconds;
  }
  return static_cast<std::int64_t>(std::time(nullptr));
}

}  // namespace

int RunDirect(RowFormat format, const std::vector<std::string>& paths) {
  const Logs logs = LogsOf(paths);
  ReadAhead ahead(logs.paths);
  Console console;
  console.StartProgress(logs.paths.size());
  if (format == RowFormat::kCsv) console.Write(CsvHeader());
  std::optional<HtmlReport> report;
  if (format == RowFormat::kHtml) report.emplace(paths, MadeAt());
  LogText log;
  int status = 0;
  for (std::size_t i = 0; i < logs.paths.size(); ++i) {
    ahead.Reached(i);
    const auto listing_error = logs.errors.find(i);
    const LogRead read = listing_error != logs.errors.end()
                             ? LogRead{UnreadableRow(logs.paths[i], listing_error->second), {}, 0}
                             : Read(logs.paths[i], log, report.has_value());
    if (!read.row.error.empty()) status = 1;  // unreadable, or a CPU value that is not a number
    console.Progressed(read.bytes);
    switch (format) {
      case RowFormat::kCsv: console.Write(CsvRow(read.row)); break;
      case RowFormat::kJson: console.Write(JsonRow(read.row)); break;
      case RowFormat::kHtml: report->Add(read.row, read.tail); break;
    }
  }
  if (report) report->WritePage([&console](std::string_view text) { console.Write(text); });
  console.Flush();
  return status;
}

}  // namespace tabrun
