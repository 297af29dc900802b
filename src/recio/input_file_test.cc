#include "recio/input_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "recio/record_reader.h"

namespace tabrun {
namespace {

std::string WriteTempFile(const std::string& content) {
  char path[] = "/tmp/tabrun_input_file_testXXXXXX";
  const int fd = mkstemp(path);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
  close(fd);
  return path;
}

// A file large enough to be mapped: searching through it by segments must find what a
// search over the whole mapping finds.
TEST(InputFileTest, LargeFileSearchedBySegments) {
  std::string content;
  for (int i = 0; content.size() < (9u << 20); ++i) {
    content += "cycle " + std::to_string(i) + " Chi2: 1.0 without the other marker\n";
    if (i % 50000 == 49999)
      content += std::string(i % 300, '.') + "CPU Time: " + std::to_string(i) + "\n";
  }
  const std::string path = WriteTempFile(content);
  InputFile file;
  std::string error;
  ASSERT_EQ(file.Open(path, &error), InputFile::OpenResult::kOpened);
  ASSERT_EQ(file.data(), content);
  EXPECT_EQ(file.Segment(5, 10), content.substr(5, 10));
  EXPECT_EQ(file.Segment(content.size() - 3, 10), content.substr(content.size() - 3));

  RecordReader from_file(file.data(), &file);
  RecordReader from_memory(content, nullptr, SearchMode::kRecordByRecord);
  FixedText a, b;
  int found = 0;
  for (;;) {
    const bool more = from_file.ReadUntil({"CPU Time:"}, &a);
    ASSERT_EQ(more, from_memory.ReadUntil({"CPU Time:"}, &b));
    if (!more) break;
    ASSERT_EQ(a.view(), b.view());
    ++found;
  }
  EXPECT_GE(found, 2);  // one of the markers stands past column 256
  EXPECT_TRUE(file.Close(&error)) << error;
  std::remove(path.c_str());
}

TEST(InputFileTest, MissingAndDirectory) {
  InputFile file;
  std::string error;
  EXPECT_EQ(file.Open("/nonexistent/tabrun.log", &error), InputFile::OpenResult::kMissing);
  EXPECT_EQ(file.Open("/tmp", &error), InputFile::OpenResult::kFailed);
  EXPECT_EQ(error, "Is a directory");
}

}  // namespace
}  // namespace tabrun
