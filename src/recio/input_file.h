// Read access to the whole content of one input file.

#ifndef TABRUN_RECIO_INPUT_FILE_H_
#define TABRUN_RECIO_INPUT_FILE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tabrun {

// One input file's bytes as a single contiguous view. Small files are read whole into a
// buffer that the object keeps and reuses for the next file; large ones are mapped, and the
// pages that a reader has left behind can be handed back with Release so that the memory in
// use does not grow with the size of the file. Reuse one InputFile for a whole batch.
class InputFile {
 public:
  enum class OpenResult {
    kOpened,
    kMissing,  // no file of that name exists (a dangling link or a loop counts as missing)
    kFailed,   // it exists but cannot be read; *error holds the reason
  };

  InputFile() = default;
  ~InputFile() { Close(); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // Opens `name` for reading, closing whatever was open before. A directory, or anything else
  // that is not a regular file, fails with a reason. A read error while the content is being
  // loaded ends the content there: what was read before it is kept.
  OpenResult Open(const std::string& name, std::string* error);

  // Drops the content and closes the file. Harmless when nothing is open. Returns false with
  // the reason in *error when the operating system reports a failure.
  bool Close(std::string* error = nullptr);

  bool is_open() const { return fd_ >= 0; }

  // The file's bytes; valid until the next Open or Close.
  std::string_view data() const { return data_; }

  // The bytes [offset, offset + length) of data(), clipped at its end. For a mapped file they
  // are copied with one read call into a buffer the object keeps (valid until the next call),
  // so that a long forward search costs what reading the file costs, without mapping each of
  // its pages; for a file read whole it is simply a view of data().
  std::string_view Segment(std::uint64_t offset, std::size_t length);

  // Hint: the bytes before `offset` are unlikely to be needed again. They stay readable
  // through data(); they only stop counting towards the process's memory until touched again.
  void Release(std::uint64_t offset);

 private:
  void LoadIntoBuffer(std::size_t size);
  bool Map(std::size_t size, std::string* error);

  int fd_ = -1;
  std::string_view data_;
  std::vector<char> buffer_;  // holds small files; kept from file to file
  void* mapping_ = nullptr;   // set when the file is mapped instead
  std::size_t mapping_size_ = 0;
  std::uint64_t released_ = 0;  // mapped bytes before this offset were handed back
  std::vector<char> segment_;   // the last Segment of a mapped file
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_INPUT_FILE_H_
