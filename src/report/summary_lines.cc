#include "report/summary_lines.h"

#include <initializer_list>

#include "recio/number.h"

namespace tabrun {
namespace {

constexpr std::string_view kBanner1 = "                =========Program Tab_Run=========";
constexpr std::string_view kBanner2 = "     Program to extract information from Kolvaran LOG files";
constexpr std::string_view kBanner3 = "                ========= Vestrum 2000  =========";
constexpr std::string_view kConsoleCount = "File: List_log contains ";
constexpr std::string_view kResultsCount = " => The file: List_log contains ";
constexpr std::string_view kLines = " lines";
constexpr std::string_view kFile = " => File ";
constexpr std::string_view kNotFound = " not found!";
constexpr std::string_view kNoControlFile = " => PCR file not found in: ";
constexpr std::string_view kBadEnd = " => Bad end for file: ";
constexpr std::string_view kNoCpu = " => No CPU calculation for: ";
constexpr std::string_view kSummary = " => ";
constexpr std::string_view kTotalSeconds = " => Total CPU Time:";
constexpr std::string_view kSeconds = " seconds";
constexpr std::string_view kTotalMinutes = " =>                ";
constexpr std::string_view kMinutes = " minutes";
constexpr std::string_view kFinalResults = "   FINAL RESULTS IN FILE: log.res";
constexpr std::string_view kSpacer = "   ";
constexpr std::string_view kWarning =
    "   WARNING: If your system is not Windows NT/2000/XP the log.res file is not correct";
constexpr std::string_view kLookInto = "   LOOK INTO individual *.log files!";

// Pieces of the run text.
constexpr std::string_view kNormalEndFor = "Normal end for ";
constexpr std::string_view kAnnealingNote = " (Monte/Sim.Anneal.)";
constexpr std::string_view kCpuPiece = "> CPU:";
constexpr std::string_view kChi2Piece = "> Chi2:";
constexpr std::string_view kRf2Piece = "> R-F2:";

// The name stage of the run text is cut or padded to this many columns before "> CPU:", so
// that the CPU column lines up through the whole of log.res.
constexpr int kNameColumns = 50;

// One record: the items side by side at their full lengths, and a line feed.
std::string Record(std::initializer_list<std::string_view> items) {
  std::size_t size = 1;
  for (std::string_view item : items) size += item.size();
  std::string text;
  text.reserve(size);
  for (std::string_view item : items) text.append(item);
  text.push_back('\n');
  return text;
}

// A record of a text, an integer and a text as a list-directed write gives it: the record's
// leading blank, the first text, the integer in its 12 columns (its own leading blanks
// separate it), a separator blank, the second text.
std::string ListDirected(std::string_view before, std::int32_t value, std::string_view after) {
  return Record({" ", before, FormatListInteger(value), " ", after});
}

// log.res gets the whole buffer, the console the buffer without trailing blanks.
RunLines ToBoth(std::string_view lead, const FixedText& text) {
  return {Record({lead, text.view()}), Record({lead, text.Trimmed()})};
}

// "Normal end for " and the run's name, as it stands before the CPU time is joined.
FixedText NameStage(const RunScan& scan) {
  return FixedText({kNormalEndFor, scan.control_file,
                    scan.kind == RunKind::kAnnealing ? kAnnealingNote : std::string_view()});
}

}  // namespace

std::string Banner() {
  return Record({}) + Record({kBanner1}) + Record({kBanner2}) + Record({kBanner3}) + Record({});
}

std::string ConsoleListingCount(std::int32_t count) {
  return ListDirected(kConsoleCount, count, kLines);
}

std::string ResultsListingCount(std::int32_t count) {
  return ListDirected(kResultsCount, count, kLines) + Record({" "});
}

std::string NotFoundLine(const FixedText& log_name) {
  return Record({kFile, log_name.Trimmed(), kNotFound});
}

FixedText RunText(const RunScan& scan) {
  FixedText text({NameStage(scan).Columns(1, kNameColumns), kCpuPiece, scan.cpu_text});
  const std::string_view piece = scan.result_label == ResultLabel::kChi2 ? kChi2Piece : kRf2Piece;
  if (scan.result_label != ResultLabel::kNone) {
    text = FixedText({text.Trimmed(), piece, scan.result_text});
  }
  return text;
}

RunLines LinesOfRun(const RunScan& scan, const FixedText& log_name) {
  switch (scan.status) {
    case RunStatus::kOk:
      return {Record({kSummary, RunText(scan).view()}), ""};
    case RunStatus::kNoCpu:
      return ToBoth(kNoCpu, NameStage(scan));
    case RunStatus::kBadEnd:
      // The bad-end line names the run by its control file, not by the log file.
      return ToBoth(kBadEnd, FixedText(scan.control_file));
    case RunStatus::kNoControlFile:
      return ToBoth(kNoControlFile, log_name);
    case RunStatus::kBadCpuValue:
    case RunStatus::kUnreadable:
    case RunStatus::kRunning:
      break;
  }
  return {};
}

std::string TotalSecondsLine(float seconds) {
  return Record({kTotalSeconds, FormatFixed14_3(seconds), kSeconds});
}

std::string TotalMinutesLine(float minutes) {
  return Record({kTotalMinutes, FormatFixed14_3(minutes), kMinutes});
}

std::string ClosingLines(std::int32_t failures, std::int32_t listing_count) {
  std::string lines = Record({kFinalResults});
  if (WarningDue(failures, listing_count)) {
    lines += Record({kSpacer}) + Record({kWarning}) + Record({kLookInto});
  }
  return lines;
}

bool WarningDue(std::int32_t failures, std::int32_t listing_count) {
  // The subtraction is done in integers first, then both sides are converted.
  const float ratio = static_cast<float>(failures) * 100.0f / static_cast<float>(listing_count - 7);
  return ratio > 20.0f;
}

}  // namespace tabrun
