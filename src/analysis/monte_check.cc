#include "analysis/monte_check.h"

#include <string>

#include "analysis/markers.h"

namespace tabrun {
namespace {

constexpr int kStepBack = 8;

void StepBack(RecordReader& log, int records) {
  for (int i = 0; i < records; ++i) log.BackSpace();
}

}  // namespace

bool CheckMonte(RecordReader& log, FixedText* run_text) {
  // From end of file, eight steps back make the last seven records readable again.
  StepBack(log, kStepBack);
  FixedText line;
  if (!log.ReadUntil({markers::kAnnealingControlFile}, &line)) return false;

  // The name field starts right after the first colon of the line, which is the marker's own
  // unless an earlier one stands before it, and ends before the first blank from two columns
  // after that colon: a single blank right after the colon does not end it.
  const int colon = Index(line.view(), ":");
  const int length = Index(line.Columns(colon + 2, kRecordLength), " ");
  const std::string_view field = line.Columns(colon + 1, colon + length);

  std::string name(TrimRight(field));
  name.append(markers::kAnnealingSuffix);
  std::string text(markers::kNormalEndFor);
  text.append(AdjustLeft(name));
  run_text->Assign(text);

  StepBack(log, kStepBack);
  return true;
}

}  // namespace tabrun
