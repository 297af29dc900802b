#include "report/summary_lines.h"

#include "recio/formatted_write.h"

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

// log.res gets the whole buffer, the console the buffer without trailing blanks.
void WriteToBoth(const ReportStreams& out, std::string_view lead, const FixedText& text) {
  WriteRecord(out.results, {lead, text.view()});
  WriteRecord(out.console, {lead, text.Trimmed()});
}

}  // namespace

void WriteBanner(OutputUnit& unit) {
  WriteEmptyThenRecord(unit, kBanner1);
  WriteRecord(unit, {kBanner2});
  WriteRecordThenEmpty(unit, kBanner3);
}

void WriteConsoleListingCount(OutputUnit& console, std::int32_t count) {
  WriteListDirected(console, kConsoleCount, count, kLines);
}

void WriteResultsListingCount(OutputUnit& results, std::int32_t count) {
  WriteListDirected(results, kResultsCount, count, kLines);
  WriteRecord(results, {" "});
}

void WriteNotFound(OutputUnit& console, const FixedText& log_name) {
  WriteRecord(console, {kFile, log_name.Trimmed(), kNotFound});
}

void WriteMissingControlFile(const ReportStreams& out, const FixedText& log_name) {
  WriteToBoth(out, kNoControlFile, log_name);
}

void WriteBadEnd(const ReportStreams& out, const FixedText& run_text) {
  WriteToBoth(out, kBadEnd, run_text);
}

void WriteNoCpu(const ReportStreams& out, const FixedText& run_text) {
  WriteToBoth(out, kNoCpu, run_text);
}

void WriteRunSummary(OutputUnit& results, const FixedText& run_text) {
  WriteRecord(results, {kSummary, run_text.view()});
}

void WriteCpuTotals(const ReportStreams& out, float cpu_seconds_total) {
  WriteRecordWithFixed(out.console, kTotalSeconds, cpu_seconds_total, kSeconds);
  WriteRecordWithFixed(out.results, kTotalSeconds, cpu_seconds_total, kSeconds);
  const float minutes = cpu_seconds_total / 60.0f;
  WriteRecordWithFixed(out.console, kTotalMinutes, minutes, kMinutes);
  WriteRecordWithFixed(out.results, kTotalMinutes, minutes, kMinutes);
}

void WriteFinalResults(OutputUnit& console) { WriteRecord(console, {kFinalResults}); }

bool WarningDue(std::int32_t failures, std::int32_t listing_count) {
  // The subtraction is done in integers first, then both sides are converted.
  const float ratio = static_cast<float>(failures) * 100.0f / static_cast<float>(listing_count - 7);
  return ratio > 20.0f;
}

void WriteWarning(OutputUnit& console) {
  WriteRecord(console, {kSpacer});
  WriteRecord(console, {kWarning});
  WriteRecord(console, {kLookInto});
}

}  // namespace tabrun
