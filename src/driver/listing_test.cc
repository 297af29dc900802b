#include "driver/listing.h"

#include <gtest/gtest.h>

#include <string>

#include "recio/memory_log.h"

namespace tabrun {
namespace {

TEST(ListingTest, EveryRecordIsAnEntryCutAt256Columns) {
  MemoryLog listing("a.log\n\n   \n" + std::string(250, 'x') + " abcdefghij.log\nlast");
  const std::vector<std::string> entries = ReadListing(listing.text);
  ASSERT_EQ(entries.size(), 5u);
  EXPECT_EQ(entries[1] + entries[2], "");
  EXPECT_EQ(NameOfEntry(entries[3]), "abcde");
  EXPECT_EQ(entries[4], "last");
}

TEST(ListingTest, NameIsTheLastBlankSeparatedWord) {
  struct Case {
    std::string entry;
    std::string name;
  } cases[] = {
      {"-rw-r--r--  1 user  staff  913 Nov 14 09:12 sa_run1.log", "sa_run1.log"},
      {"-rw-r--r--  1 user  staff  1020 Jan  3  2006 annealing_test7.log   ",
       "annealing_test7.log"},
      {"-rw-r--r--  1 user  staff  512 Nov 14 09:12 my run.log", "run.log"},
      {"lrwxr-xr-x  1 user  staff  12 Nov 14 09:12 short.log -> ../b/long.log", "../b/long.log"},
      {"sa_run1.log", "sa_run1.log"},
      {"   sa_run1.log", "sa_run1.log"},
      {"-rw-r--r-- 1 u g 9 Nov 14 09:12\tsa_run1.log", "09:12\tsa_run1.log"},
  };
  for (const Case& c : cases) EXPECT_EQ(NameOfEntry(c.entry), c.name) << c.entry;
}

}  // namespace
}  // namespace tabrun
