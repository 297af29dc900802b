// Buffered output connections: the console, log.res, or memory for tests.

#ifndef TABRUN_RECIO_OUTPUT_UNIT_H_
#define TABRUN_RECIO_OUTPUT_UNIT_H_

#include <memory>
#include <string>
#include <string_view>

namespace tabrun {

// One output connection, named as in the fatal messages by its unit (for example "1" or
// "*") and file (for example "log.res" or "standard output"). Records are collected in a
// buffer and written in large blocks. A failing write or close ends the program through
// FatalIoError, after the other open units have been flushed.
//
// Every unit that writes to a file descriptor is flushed by the fatal path, so that all
// complete records written before a fatal error reach their files.
class OutputUnit {
 public:
  // A unit that keeps everything in memory (contents()); it never fails.
  OutputUnit(std::string unit, std::string file);
  // A unit that writes to `fd`, which it does not own unless Close is called.
  OutputUnit(std::string unit, std::string file, int fd);
  ~OutputUnit();
  OutputUnit(const OutputUnit&) = delete;
  OutputUnit& operator=(const OutputUnit&) = delete;

  // Creates or truncates `path` and connects a unit to it, or ends the program through the
  // fatal path with the operating system's reason.
  static std::unique_ptr<OutputUnit> CreateFile(std::string unit, const std::string& path);

  // Appends text to the current record.
  void Append(std::string_view text);
  // Ends the current record with a line feed.
  void EndRecord();

  // Writes out what is buffered.
  void Flush();
  // Flushes and closes the file descriptor.
  void Close();

  // Everything written so far, for a memory unit.
  const std::string& contents() const { return buffer_; }

  // Flushes every unit that writes to a file, ignoring failures; used on the fatal path.
  static void FlushAllForExit();

 private:
  bool WriteOut();

  std::string unit_;
  std::string file_;
  int fd_ = -1;
  std::string buffer_;
  bool failing_ = false;        // set while this unit's own failure is being reported
  OutputUnit* next_ = nullptr;  // list of units that write to a file
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_OUTPUT_UNIT_H_
