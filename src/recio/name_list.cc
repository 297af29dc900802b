#include "recio/name_list.h"

#include <algorithm>
#include <cstring>
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

std::size_t NameList::LowerBound(std::string_view name) const {
  std::size_t low = 0;
  std::size_t high = size();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if ((*this)[middle] < name) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

void NameList::Keep(const std::vector<bool>& keep) {
  std::size_t kept = 0;
  std::uint64_t end = 0;
  std::uint64_t start = 0;  // of name i
  for (std::size_t i = 0; i < size(); ++i) {
    const std::uint64_t length = ends_[i] - start;
    if (keep[i]) {
      std::memmove(bytes_.data() + end, bytes_.data() + start, length);
      ends_[kept++] = end += length;
    }
    start = ends_[i];
  }
  Truncate(kept);
}

std::vector<std::size_t> NameList::Merge(const NameList& more) {
  // From the back: each name goes to its place at or after where it was, so that no name is
  // overwritten before it has been moved, and nothing is copied whole.
  std::size_t old = size();
  std::size_t added = more.size();
  std::vector<std::size_t> places(added);
  bytes_.resize(bytes_.size() + more.bytes_.size());
  ends_.resize(old + added);
  std::uint64_t end = bytes_.size();
  for (std::size_t place = old + added; added > 0;) {
    --place;
    const std::uint64_t old_start = old < 2 ? 0 : ends_[old - 2];
    const std::string_view old_name =
        old == 0 ? std::string_view()
                 : std::string_view(bytes_).substr(old_start, ends_[old - 1] - old_start);
    const std::string_view new_name = more[added - 1];
    const bool from_old = old > 0 && new_name < old_name;
    const std::string_view name = from_old ? old_name : new_name;
    ends_[place] = end;
    end -= name.size();
    std::memmove(bytes_.data() + end, name.data(), name.size());
    if (from_old) {
      --old;
    } else {
      places[--added] = place;
    }
  }
  return places;
}

}  // namespace tabrun
