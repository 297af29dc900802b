// Many names held end to end in one block of bytes.

#ifndef TABRUN_RECIO_NAME_LIST_H_
#define TABRUN_RECIO_NAME_LIST_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tabrun {

// A list of names (any bytes, any length, empty too) kept as their bytes end to end plus where
// each one ends, so that a name costs its length and 8 bytes, not a std::string and a block of
// the heap of its own: a batch of a million logs keeps its names in a few tens of MB.
class NameList {
 public:
  std::size_t size() const { return ends_.size(); }

  // Name `index`, valid until the list next changes. REQUIRES: index < size().
  std::string_view operator[](std::size_t index) const {
    const std::uint64_t start = index == 0 ? 0 : ends_[index - 1];
    return std::string_view(bytes_).substr(start, ends_[index] - start);
  }

  void Add(std::string_view name) {
    bytes_.append(name);
    ends_.push_back(bytes_.size());
  }

  // Sorts the names from index `first` on byte by byte, as unsigned values, the earlier ones
  // staying where they are. REQUIRES: first <= size(), and fewer than 2^32 names.
  void SortFrom(std::size_t first);

  // The index of the first name not less than `name` byte by byte, or size() when there is
  // none. REQUIRES: the list is sorted so.
  std::size_t LowerBound(std::string_view name) const;

  // Keeps name i where keep[i] is true and drops the others, in place. REQUIRES: keep.size()
  // == size().
  void Keep(const std::vector<bool>& keep);

  // Puts the names of `more` among these so that a list sorted byte by byte stays so, in place,
  // and returns the index that each name of `more` has then, in order. REQUIRES: both lists are
  // sorted byte by byte.
  std::vector<std::size_t> Merge(const NameList& more);

  // Drops the names from index `count` on. REQUIRES: count <= size().
  void Truncate(std::size_t count) {
    ends_.resize(count);
    bytes_.resize(count == 0 ? 0 : ends_.back());
  }

 private:
  std::string bytes_;
  std::vector<std::uint64_t> ends_;  // name i is bytes_[ends_[i - 1], ends_[i])
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_NAME_LIST_H_
