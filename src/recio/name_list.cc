#include "recio/name_list.h"

#include <algorithm>
#include <numeric>

namespace tabrun {

void NameList::SortFrom(std::size_t first) {
  // The names are sorted as indices, then copied out in that order once: a sort that moved
  // the bytes themselves would copy them over and over.
  std::vector<std::uint32_t> order(size() - first);
  std::iota(order.begin(), order.end(), static_cast<std::uint32_t>(first));
  // std::string_view compares as unsigned bytes.
  std::sort(order.begin(), order.end(),
            [this](std::uint32_t a, std::uint32_t b) { return (*this)[a] < (*this)[b]; });
  const std::uint64_t base = first == 0 ? 0 : ends_[first - 1];
  std::string sorted;
  sorted.reserve(bytes_.size() - base);
  for (std::uint32_t& index : order) {
    const std::string_view name = (*this)[index];
    sorted.append(name);
    index = static_cast<std::uint32_t>(name.size());  // a name is shorter than 4 GiB
  }
  bytes_.resize(base);
  bytes_.append(sorted);
  std::uint64_t end = base;
  for (std::size_t i = 0; i < order.size(); ++i) ends_[first + i] = end += order[i];
}

}  // namespace tabrun
