// The record shapes that the summary lines are written with.

#ifndef TABRUN_RECIO_FORMATTED_WRITE_H_
#define TABRUN_RECIO_FORMATTED_WRITE_H_

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "recio/output_unit.h"

namespace tabrun {

// One record: the items side by side, each at its full length (a 256-column buffer passed
// untrimmed keeps all its trailing blanks).
void WriteRecord(OutputUnit& unit, std::initializer_list<std::string_view> items);

// An empty record, then a record holding `item`.
void WriteEmptyThenRecord(OutputUnit& unit, std::string_view item);

// A record holding `item`, then an empty record.
void WriteRecordThenEmpty(OutputUnit& unit, std::string_view item);

// One record: `before`, `value` in 14 columns with 3 decimals, `after`.
void WriteRecordWithFixed(OutputUnit& unit, std::string_view before, float value,
                          std::string_view after);

// One list-directed record of a text, an integer and a text: a blank, `before`, `value`
// right-justified in 12 columns, a separator blank, then `after`.
void WriteListDirected(OutputUnit& unit, std::string_view before, std::int32_t value,
                       std::string_view after);

}  // namespace tabrun

#endif  // TABRUN_RECIO_FORMATTED_WRITE_H_
