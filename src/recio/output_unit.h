// Buffered output to a file descriptor: the console or log.res.

#ifndef TABRUN_RECIO_OUTPUT_UNIT_H_
#define TABRUN_RECIO_OUTPUT_UNIT_H_

#include <string>
#include <string_view>

namespace tabrun {

// Collects text and writes it out in large blocks. It never ends the program: a write that
// fails is reported to the caller with the operating system's reason, and from then on the
// unit writes nothing more, so that what reaches the file is always what came before the
// failure.
class OutputUnit {
 public:
  // Writes to `fd`, which the unit closes only in Close.
  explicit OutputUnit(int fd);
  OutputUnit(const OutputUnit&) = delete;
  OutputUnit& operator=(const OutputUnit&) = delete;

  // Creates or truncates `path` for writing; returns -1 with the reason in *error.
  static int CreateFile(const std::string& path, std::string* error);

  // Appends `text`, writing the buffer out once it has grown large. Returns false, with the
  // reason in *error, when that write fails or an earlier one did.
  bool Write(std::string_view text, std::string* error);

  // Writes out everything buffered; false with the reason when it cannot.
  bool Flush(std::string* error);

  // Flushes and closes the file descriptor; false with the reason when either fails.
  bool Close(std::string* error);

  // The file descriptor written to.
  int fd() const { return fd_; }

 private:
  int fd_;
  std::string buffer_;
  std::string failure_;  // the reason of the first failed write; empty while all is well
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_OUTPUT_UNIT_H_
