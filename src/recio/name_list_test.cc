#include "recio/name_list.h"

#include <gtest/gtest.h>

namespace tabrun {
namespace {

std::vector<std::string> Names(const NameList& list) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < list.size(); ++i) names.emplace_back(list[i]);
  return names;
}

TEST(NameListTest, SortsFromAnIndexByUnsignedBytes) {
  struct Case {
    std::vector<std::string> names;
    std::size_t first;
    std::vector<std::string> want;
  } cases[] = {
      {{"b", "a"}, 2, {"b", "a"}},
      {{"b.log", "", "\xe9.log", "a b.log", "a.log"},
       0,
       {"", "a b.log", "a.log", "b.log", "\xe9.log"}},
      {{"z", "y", "x", "w"}, 2, {"z", "y", "w", "x"}},
      {{"zz", "z", "", "zz"}, 1, {"zz", "", "z", "zz"}},
  };
  for (const Case& c : cases) {
    NameList list;
    for (const std::string& name : c.names) list.Add(name);
    list.SortFrom(c.first);
    EXPECT_EQ(Names(list), c.want) << "from " << c.first;
    list.Truncate(1);
    list.Add("new");
    EXPECT_EQ(std::string(list[0]) + "|" + std::string(list[1]), c.want[0] + "|new");
  }
}

// A list changed in place as a watch changes it: some names go, new ones come among them.
TEST(NameListTest, KeepsAndMergesInPlaceStayingSorted) {
  struct Case {
    std::vector<std::string> names;
    std::vector<bool> keep;
    std::vector<std::string> more;
    std::vector<std::string> want;
    std::vector<std::size_t> places;
  } cases[] = {
      {{}, {}, {"a", "b"}, {"a", "b"}, {0, 1}},
      {{"b", "d"}, {true, true}, {"a", "c", "e"}, {"a", "b", "c", "d", "e"}, {0, 2, 4}},
      {{"b", "d"}, {false, true}, {"", "e"}, {"", "d", "e"}, {0, 2}},
      {{"a", "bb", "c"}, {true, false, true}, {"b", "bbb"}, {"a", "b", "bbb", "c"}, {1, 2}},
      {{"x", "y"}, {false, false}, {"\xe9", "a"}, {"a", "\xe9"}, {0, 1}},
      {{"long name.log", "zz"}, {true, true}, {"a"}, {"a", "long name.log", "zz"}, {0}},
      {{"x"}, {true}, {}, {"x"}, {}},
  };
  for (const Case& c : cases) {
    NameList list;
    for (const std::string& name : c.names) list.Add(name);
    NameList more;
    for (const std::string& name : c.more) more.Add(name);
    more.SortFrom(0);
    list.Keep(c.keep);
    EXPECT_EQ(list.Merge(more), c.places) << c.want.size();
    EXPECT_EQ(Names(list), c.want) << c.want.size();
    for (std::size_t i = 0; i < c.want.size(); ++i) EXPECT_EQ(list.LowerBound(c.want[i]), i);
    EXPECT_EQ(list.LowerBound("\xff"), list.size());
  }
}

}  // namespace
}  // namespace tabrun
