#include "driver/listing.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

TEST(ListingTest, EveryRecordIsAnEntry) {
  const std::string text = "a.log\n\n   \n" + std::string(300, 'x') + "\nlast";
  RecordReader reader(text);
  const std::vector<std::string> entries = ReadListing(reader);
  ASSERT_EQ(entries.size(), 5u);
  EXPECT_EQ(entries[0], "a.log");
  EXPECT_EQ(entries[1], "");
  EXPECT_EQ(entries[2], "");
  EXPECT_EQ(entries[3], std::string(256, 'x'));
  EXPECT_EQ(entries[4], "last");
}

TEST(ListingTest, NoLimitOnTheNumberOfEntries) {
  std::string text;
  for (int i = 0; i < 1200; ++i) text += "f" + std::to_string(i) + ".log\n";
  RecordReader reader(text);
  const std::vector<std::string> entries = ReadListing(reader);
  ASSERT_EQ(entries.size(), 1200u);
  EXPECT_EQ(entries.back(), "f1199.log");
}

TEST(ListingTest, NameIsTheLastBlankSeparatedWord) {
  struct Case {
    std::string entry;
    std::string name;
  } cases[] = {
      {"-rw-r--r--  1 user  staff  913 Nov 14 09:12 sa_run1.log", "sa_run1.log"},
      {"-rw-r--r--+ 1 user  staff  913 Nov 14 09:12 sa_run1.log", "sa_run1.log"},
      {"-rw-r--r--  1 user  staff  1020 Jan  3  2006 annealing_test7.log   ",
       "annealing_test7.log"},
      {"-rw-r--r--  1 user  staff  512 Nov 14 09:12 my run.log", "run.log"},
      {"lrwxr-xr-x  1 user  staff  12 Nov 14 09:12 short.log -> ../b/long.log", "../b/long.log"},
      {"total 16", "16"},
      {"sa_run1.log", "sa_run1.log"},
      {"   sa_run1.log", "sa_run1.log"},
      {"-rw-r--r-- 1 u g 9 Nov 14 09:12\tsa_run1.log", "09:12\tsa_run1.log"},
  };
  for (const Case& c : cases) EXPECT_EQ(NameOfEntry(c.entry), c.name) << c.entry;
}

TEST(ListingTest, NameOfALineCutAt256Columns) {
  const std::string line = std::string(250, 'x') + " abcdefghij.log";
  RecordReader reader(line);
  const std::vector<std::string> entries = ReadListing(reader);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(NameOfEntry(entries[0]), "abcde");
}

}  // namespace
}  // namespace tabrun
