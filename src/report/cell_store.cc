#include "report/cell_store.h"

#include <zlib.h>

#include <cstring>
#include <new>
#include <string_view>

#include "report/escape.h"

namespace tabrun {
namespace {

void AddNumber(std::uint64_t value, std::string* out) {
  for (; value >= 0x80; value >>= 7) out->push_back(static_cast<char>((value & 0x7f) | 0x80));
  out->push_back(static_cast<char>(value));
}

void AddText(std::string_view text, std::string* out) {
  AddNumber(text.size(), out);
  out->append(text);
}

// Reads back what AddNumber and AddText wrote, from the front of `bytes`.
std::uint64_t TakeNumber(std::string_view* bytes) {
  std::uint64_t value = 0;
  for (int shift = 0;; shift += 7) {
    const auto byte = static_cast<std::uint8_t>(bytes->front());
    bytes->remove_prefix(1);
    value |= std::uint64_t{byte & 0x7fu} << shift;
    if (byte < 0x80) return value;
  }
}

std::string TakeText(std::string_view* bytes) {
  const std::size_t length = TakeNumber(bytes);
  std::string text(bytes->substr(0, length));
  bytes->remove_prefix(length);
  return text;
}

// How much a log's cells take as they are, roughly.
std::size_t BytesOf(const std::optional<HtmlReport::Cells>& cells) {
  if (!cells) return 16;
  return sizeof *cells + cells->cells.text().size() + 4 * cells->cells.starts().size() +
         cells->tail.size() + cells->tail_json.size() + cells->log.size() + cells->reason.size() +
         cells->last_record.size();
}

}  // namespace

void CellStore::Put(Slot slot, HtmlReport::Cells cells) { Change(slot, std::move(cells)); }

void CellStore::Drop(Slot slot) { Change(slot, std::nullopt); }

void CellStore::Change(Slot slot, std::optional<HtmlReport::Cells> cells) {
  pending_bytes_ += BytesOf(cells);
  pending_[slot] = std::move(cells);
  if (pending_bytes_ >= kPendingBytes) Flush();
}

const HtmlReport::Cells* CellStore::Get(Slot slot) {
  const auto waiting = pending_.find(slot);
  if (waiting != pending_.end()) return waiting->second ? &*waiting->second : nullptr;
  const std::size_t block = slot / kBlock;
  if (block >= blocks_.size()) return nullptr;
  if (block != unpacked_) Unpack(block, &cache_);
  unpacked_ = block;
  const std::optional<HtmlReport::Cells>& cells = cache_[slot % kBlock];
  return cells ? &*cells : nullptr;
}

void CellStore::Flush() {
  Block cells;
  for (auto at = pending_.begin(); at != pending_.end();) {
    const std::size_t block = at->first / kBlock;
    if (block >= blocks_.size()) blocks_.resize(block + 1);
    Unpack(block, &cells);
    for (; at != pending_.end() && at->first / kBlock == block; ++at) {
      cells[at->first % kBlock] = std::move(at->second);
    }
    Pack(cells, block);
  }
  pending_.clear();
  pending_bytes_ = 0;
  unpacked_ = SIZE_MAX;
}

void CellStore::Pack(const Block& cells, std::size_t block) {
  std::string bytes;
  for (const std::optional<HtmlReport::Cells>& c : cells) {
    bytes.push_back(c ? 1 : 0);
    if (!c) continue;
    AddText(c->cells.text(), &bytes);
    const std::vector<std::uint32_t>& starts = c->cells.starts();
    AddNumber(starts.size(), &bytes);
    for (std::size_t i = 0; i < starts.size(); ++i) {
      AddNumber(starts[i] - (i == 0 ? 0 : starts[i - 1]), &bytes);
    }
    bytes.push_back(static_cast<char>(c->status));
    AddText(c->tail, &bytes);
    bytes.push_back(c->has_tail() ? 1 : 0);
    AddText(c->log, &bytes);
    AddText(c->reason, &bytes);
    AddText(c->last_record, &bytes);
    for (const std::optional<double>& value : c->figures) {
      bytes.push_back(value ? 1 : 0);
      if (value) bytes.append(reinterpret_cast<const char*>(&*value), sizeof *value);
    }
  }
  std::string& packed = blocks_[block];
  packed.clear();
  if (bytes.size() == cells.size()) {
    blocks_[block].shrink_to_fit();  // no cells at all
    return;
  }
  // The length as it is first, for Unpack; then the deflated bytes.
  AddNumber(bytes.size(), &packed);
  const std::size_t at = packed.size();
  uLongf length = compressBound(static_cast<uLong>(bytes.size()));
  packed.resize(at + length);
  if (compress2(reinterpret_cast<Bytef*>(packed.data() + at), &length,
                reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uLong>(bytes.size()),
                Z_BEST_SPEED) != Z_OK) {
    throw std::bad_alloc();
  }
  packed.resize(at + length);
  packed.shrink_to_fit();
}

void CellStore::Unpack(std::size_t block, Block* cells) const {
  cells->fill(std::nullopt);
  std::string_view packed = blocks_[block];
  if (packed.empty()) return;
  std::string bytes(TakeNumber(&packed), '\0');
  uLongf length = bytes.size();
  if (uncompress(reinterpret_cast<Bytef*>(bytes.data()), &length,
                 reinterpret_cast<const Bytef*>(packed.data()), packed.size()) != Z_OK) {
    throw std::bad_alloc();  // only memory can fail for the bytes Pack made
  }
  std::string_view rest = bytes;
  for (std::optional<HtmlReport::Cells>& c : *cells) {
    const bool present = rest.front() != 0;
    rest.remove_prefix(1);
    if (!present) continue;
    HtmlReport::Cells& got = c.emplace();
    std::string text = TakeText(&rest);
    std::vector<std::uint32_t> starts(TakeNumber(&rest));
    for (std::size_t i = 0; i < starts.size(); ++i) {
      starts[i] = (i == 0 ? 0 : starts[i - 1]) + static_cast<std::uint32_t>(TakeNumber(&rest));
    }
    got.cells = PackedColumns::Cells(std::move(text), std::move(starts));
    got.status = static_cast<RunStatus>(rest.front());
    rest.remove_prefix(1);
    got.tail = TakeText(&rest);
    const bool has_tail = rest.front() != 0;
    rest.remove_prefix(1);
    if (has_tail) AppendJsonString(got.tail, &got.tail_json);
    got.log = TakeText(&rest);
    got.reason = TakeText(&rest);
    got.last_record = TakeText(&rest);
    for (std::optional<double>& value : got.figures) {
      const bool has = rest.front() != 0;
      rest.remove_prefix(1);
      if (!has) continue;
      double number;
      std::memcpy(&number, rest.data(), sizeof number);
      rest.remove_prefix(sizeof number);
      value = number;
    }
  }
}

}  // namespace tabrun
