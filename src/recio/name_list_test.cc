#include "recio/name_list.h"

#include <gtest/gtest.h>

namespace tabrun {
namespace {

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
    std::vector<std::string> got;
    for (std::size_t i = 0; i < list.size(); ++i) got.emplace_back(list[i]);
    EXPECT_EQ(got, c.want) << "from " << c.first;
    list.Truncate(1);
    list.Add("new");
    EXPECT_EQ(std::string(list[0]) + "|" + std::string(list[1]), c.want[0] + "|new");
  }
}

}  // namespace
}  // namespace tabrun
