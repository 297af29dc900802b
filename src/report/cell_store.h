// The page's cells of every log of a batch that a watch follows, kept deflated.

#ifndef TABRUN_REPORT_CELL_STORE_H_
#define TABRUN_REPORT_CELL_STORE_H_

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "report/html_report.h"

namespace tabrun {

// The cells (HtmlReport::Encode) of many logs by a number of each log's own, its slot, so that a
// live page can be written again without reading a log twice. They are kept deflated in blocks
// of kBlock neighbouring slots: a batch of 200,000 small logs takes a few MB, not the hundreds of
// bytes that each log's cells take as they are. Cells put lately wait as they are until they
// take kPendingBytes, and then go into their blocks together, so that a look that reads a few
// logs packs a few blocks again, not one per log.
class CellStore {
 public:
  using Slot = std::uint32_t;
  static constexpr Slot kBlock = 64;
  static constexpr std::size_t kPendingBytes = 1 << 20;

  // The log in `slot` has these cells now, in place of any it had.
  void Put(Slot slot, HtmlReport::Cells cells);
  // The log in `slot` has no cells now.
  void Drop(Slot slot);

  // The cells of the log in `slot`, or null when it has none; valid until the next call of any
  // of these. Slots asked in rising order unpack each block once.
  const HtmlReport::Cells* Get(Slot slot);

 private:
  using Block = std::array<std::optional<HtmlReport::Cells>, kBlock>;

  void Change(Slot slot, std::optional<HtmlReport::Cells> cells);
  // Moves the pending cells into their blocks.
  void Flush();
  void Unpack(std::size_t block, Block* cells) const;
  void Pack(const Block& cells, std::size_t block);

  std::vector<std::string> blocks_;  // deflated; empty for a block that holds no cells
  std::map<Slot, std::optional<HtmlReport::Cells>> pending_;
  std::size_t pending_bytes_ = 0;
  std::size_t unpacked_ = SIZE_MAX;  // the block that `cache_` holds
  Block cache_;
};

}  // namespace tabrun

#endif  // TABRUN_REPORT_CELL_STORE_H_
