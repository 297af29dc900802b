#include "report/packed_columns.h"

#include "report/escape.h"

namespace tabrun {

PackedColumns::PackedColumns(const std::vector<Column>& columns) : columns_(columns) {
  for (const Column& column : columns_) {
    // Numbers only need each byte coded by its frequency; names repeat whole strings.
    packed_.push_back(std::make_unique<PackedText>(
        column.type == Type::kNumber ? PackedText::Kind::kFigures : PackedText::Kind::kText));
    if (column.type == Type::kText) packed_.back()->Append("[");
  }
}

void PackedColumns::Cells::Text(std::string_view text) {
  AppendJsonString(text, &Start().append(","));
}

void PackedColumns::Add(const Cells& cells) {
  const std::string_view text = cells.text_;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::size_t end = i + 1 < columns_.size() ? cells.start_[i + 1] : text.size();
    // The first row's cells have no comma before them.
    const std::size_t from = cells.start_[i] + (rows_ == 0 && columns_[i].type != Type::kCode);
    packed_[i]->Append(text.substr(from, end - from));
  }
  ++rows_;
}

void PackedColumns::Write(const PageSink& sink) {
  constexpr const char* kTypeNames[] = {"code", "number", "text"};
  sink("\"rows\":" + std::to_string(rows_) + ",\"columns\":[");
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    std::string head = i == 0 ? "{\"name\":" : ",{\"name\":";
    AppendJsonString(column.name, &head);
    head += std::string(",\"type\":\"") + kTypeNames[static_cast<int>(column.type)] + "\"";
    if (column.type == Type::kCode) {
      head += ",\"values\":[";
      for (std::size_t v = 0; v < column.values.size(); ++v) {
        if (v != 0) head += ",";
        AppendJsonString(column.values[v], &head);
      }
      head += "]";
    }
    if (column.type == Type::kText) packed_[i]->Append("]");
    sink(head + ",\"data\":\"");
    packed_[i]->WriteBase64(sink);
    sink("\"}");
  }
  sink("]");
}

}  // namespace tabrun
