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

// A file too big to be read whole is read a window at a time: searching and stepping back
// across window boundaries must give what the same text gives in memory.
TEST(InputFileTest, BigFileReadByWindows) {
  std::string content;
  for (int i = 0; content.size() < (9u << 20); ++i) {
    content += "cycle " + std::to_string(i) + " Chi2: 1.0 without the other marker\n";
    if (i % 997 == 0)
      content += std::string(i % 300, '.') + "CPU Time: " + std::to_string(i) + "\n";
    if (i % 50000 == 0) content += std::string(700000, 'x') + "\r\n";  // longer than a window
  }
  const std::string path = WriteTempFile(content);
  InputFile file;
  std::string error;
  ASSERT_EQ(file.Open(path, &error), InputFile::OpenResult::kOpened);
  ASSERT_EQ(file.size(), content.size());

  RecordReader from_file(file);
  RecordReader in_memory(content, SearchMode::kRecordByRecord);
  FixedText a, b;
  for (int round = 0;; ++round) {
    const bool more = from_file.ReadUntil({"CPU Time:"}, &a);
    ASSERT_EQ(more, in_memory.ReadUntil({"CPU Time:"}, &b));
    if (!more) break;
    ASSERT_EQ(a.view(), b.view());
    // Now and then step back over a few records, the long ones included.
    for (int i = 0; i < round % 40; ++i) {
      from_file.BackSpace();
      in_memory.BackSpace();
    }
    ASSERT_EQ(from_file.Read(&a), in_memory.Read(&b));
    ASSERT_EQ(a.view(), b.view());
  }
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
