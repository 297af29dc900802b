#include "report/watch_view.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "recio/fatal.h"
#include "report/script_rows.h"

namespace tabrun {
namespace {

constexpr std::size_t kRunning = static_cast<std::size_t>(RunStatus::kRunning);
constexpr std::size_t kOk = static_cast<std::size_t>(RunStatus::kOk);

// How many runs failed: every status but ok and running.
std::uint64_t Failed(const WatchSummary& summary) {
  return summary.logs - summary.counts[kOk] - summary.counts[kRunning];
}

// "120 logs: 8 running, 100 ok, 12 failed"
std::string Counts(const WatchSummary& summary) {
  return std::to_string(summary.logs) + (summary.logs == 1 ? " log: " : " logs: ") +
         std::to_string(summary.counts[kRunning]) + " running, " +
         std::to_string(summary.counts[kOk]) + " ok, " + std::to_string(Failed(summary)) +
         " failed";
}

// Cuts *line to at most `width` bytes, not inside a UTF-8 character.
void CutAt(std::size_t width, std::string* line) {
  if (line->size() <= width) return;
  while (width > 0 && (static_cast<unsigned char>((*line)[width]) & 0xC0) == 0x80) --width;
  line->resize(width);
}

}  // namespace

std::string ClockText(std::int64_t seconds) {
  const std::time_t time = static_cast<std::time_t>(seconds);
  const std::tm* local = std::localtime(&time);
  char text[16] = "??:??:??";
  if (local != nullptr) {
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", local->tm_hour, local->tm_min,
                  local->tm_sec);
  }
  return text;
}

std::vector<std::string> ViewLines(const WatchSummary& summary, int rows, int columns) {
  std::vector<std::string> lines;
  std::string title = "tabrun --watch";
  for (const std::string& path : summary.paths) title += " " + Printable(path);
  lines.push_back(title + "   " + summary.clock);
  for (const std::string& note : summary.notes) lines.push_back(Printable(note));
  lines.push_back(Counts(summary));
  if (Failed(summary) != 0) {
    std::string failed = "failed:";
    for (std::size_t s = 0; s < kStatusCount; ++s) {
      if (s == kOk || s == kRunning || summary.counts[s] == 0) continue;
      failed += std::string(failed.size() > 7 ? ", " : " ") + kStatusNames[s] + " " +
                std::to_string(summary.counts[s]);
    }
    lines.push_back(failed);
  }
  lines.push_back("ended: " + std::to_string(summary.ended_within_minute) +
                  " in the last minute, " + std::to_string(summary.ended) + " since the start");
  for (const BestFigure& best : summary.best) {
    if (best.value) {
      lines.push_back("best " + std::string(best.name) + " " + NumberText(*best.value) + " " +
                      Printable(best.log));
    }
  }
  if (!summary.failures.empty()) {
    lines.push_back("newest failures:");
    for (const RecentFailure& failure : summary.failures) {
      std::string line = std::string(StatusName(failure.status)) + " " + Printable(failure.log);
      if (!failure.reason.empty()) line += ": " + failure.reason;
      lines.push_back(std::move(line));
    }
  }
  lines.resize(std::min(lines.size(), static_cast<std::size_t>(std::max(rows, 0))));
  for (std::string& line : lines) CutAt(static_cast<std::size_t>(std::max(columns, 0)), &line);
  return lines;
}

std::string ViewScreen(const std::vector<std::string>& lines) {
  std::string screen = "\x1b[H";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    screen += lines[i] + "\x1b[K";
    if (i + 1 < lines.size()) screen += "\r\n";  // no line feed after the last: no scrolling
  }
  return screen + "\x1b[J";
}

std::string EventLine(const WatchEvent& event, const std::string& clock) {
  static constexpr const char* kWords[] = {"", "started", "finished", "failed", "gone"};
  std::string line =
      clock + " " + kWords[static_cast<std::size_t>(event.event)] + " " + Printable(event.log);
  if (event.event == RunEvent::kFailed) {
    line += std::string(" ") + StatusName(event.status);
    if (!event.reason.empty()) line += ": " + event.reason;
  }
  return line + "\n";
}

std::string CountsLine(const WatchSummary& summary) {
  return summary.clock + " " + Counts(summary) + "\n";
}

}  // namespace tabrun
