#include "recio/formatted_write.h"

#include "recio/number.h"

namespace tabrun {

void WriteRecord(OutputUnit& unit, std::initializer_list<std::string_view> items) {
  for (std::string_view item : items) unit.Append(item);
  unit.EndRecord();
}

void WriteEmptyThenRecord(OutputUnit& unit, std::string_view item) {
  unit.EndRecord();
  WriteRecord(unit, {item});
}

void WriteRecordThenEmpty(OutputUnit& unit, std::string_view item) {
  WriteRecord(unit, {item});
  unit.EndRecord();
}

void WriteRecordWithFixed(OutputUnit& unit, std::string_view before, float value,
                          std::string_view after) {
  WriteRecord(unit, {before, FormatFixed14_3(value), after});
}

void WriteListDirected(OutputUnit& unit, std::string_view before, std::int32_t value,
                       std::string_view after) {
  // The record's leading blank, then the first text; the integer's field carries its own
  // leading blanks; a separator blank comes before the second text.
  WriteRecord(unit, {" ", before, FormatListInteger(value), " ", after});
}

}  // namespace tabrun
