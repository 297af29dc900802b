// Files as the program needs them from the operating system: opened by name for reading,
// described, read at an offset, created for writing, written and closed.

#ifndef TABRUN_OS_FILE_H_
#define TABRUN_OS_FILE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tabrun::os {

// A file is named by a plain int handle, as the system hands it out; kNoFile names none.
inline constexpr int kNoFile = -1;
// Standard input, output and error, open when the program starts (see process.h).
inline constexpr int kStandardInput = 0;
inline constexpr int kStandardOutput = 1;
inline constexpr int kStandardError = 2;
// Stands for the working directory where a directory handle is asked for. It is never a
// handle the system hands out.
inline constexpr int kWorkingDirectory = -100;

enum class OpenResult {
  kOpened,
  kMissing,  // no file of that name exists: a dangling link, a loop of links and a name holding
             // a NUL byte count as missing
  kFailed,   // something of that name exists but cannot be opened
};

// Opens `path` for reading, relative to the open directory `directory` (a handle from
// OpenDirectory in directory.h, or kWorkingDirectory), and puts its handle in *file. Anything
// that can be opened is: a directory too, where the platform allows it (Describe tells what
// was opened). The open never waits: a fifo without a writer opens at once, and a terminal
// does not become the program's controlling terminal. The handle is not inherited by the
// listing command. A path too long for the system to take whole, from the working directory
// or from the root, is opened from its directory, which OpenDirectory (directory.h) opens one
// component at a time; a name too long in itself fails. On kMissing and kFailed, *error holds
// the system's own text for the reason ("No such file or directory", "Permission denied"); for
// kFailed it is the reason the open failed, for kMissing the reason the name names nothing.
OpenResult OpenForReading(int directory, const std::string& path, int* file, std::string* error);

// kPipe is a pipe or a named pipe (a FIFO); kOther anything else that is not a regular file or
// a directory: a device, a socket.
enum class FileKind { kRegular, kDirectory, kPipe, kOther };

// What identifies one file among all those the system can reach at the same time: two handles
// with equal identities are the same file, whatever names opened them. A platform that cannot
// tell gives every file the zero identity and must then give kOther as its kind, so that no
// two files are ever taken for one.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  bool operator==(const FileIdentity&) const = default;
};

struct FileStatus {
  FileKind kind = FileKind::kOther;
  std::uint64_t size = 0;  // in bytes, as the system says; 0 for a file it cannot measure
  FileIdentity identity;
  // When its bytes were last changed, in whole seconds since 1970-01-01 00:00:00 UTC (earlier
  // times are negative, and a time between two seconds counts as the earlier one); none where
  // the system keeps no such time for it.
  std::optional<std::int64_t> modified;
};

// Describes the open file `file` into *status; false with the system's reason in *error when
// it cannot.
bool Describe(int file, FileStatus* status, std::string* error);

// Describes the file `path` in the open directory `directory` (as OpenForReading takes them)
// into *status, following symbolic links, with one metadata lookup where the system has one (it
// is not opened then). kMissing when nothing of that name exists, kFailed with the system's
// reason in *error when it cannot be described.
OpenResult DescribeAt(int directory, const std::string& path, FileStatus* status,
                      std::string* error);

// The system's text for the reason that a directory cannot be read as a file
// ("Is a directory").
std::string IsDirectoryText();

// Reads up to `length` bytes at the 64-bit `offset` of `file`, waiting for the disk as long as
// needed, and returns how many arrived: fewer than `length` only at the end of the file, 0 at
// or past it, and -1 on an error. An interrupted read is taken up again, not reported.
std::int64_t ReadAt(int file, char* out, std::size_t length, std::uint64_t offset);

// What ReadNext returns when no bytes are there now and it was not to wait for them.
inline constexpr std::int64_t kNothingYet = -2;

// Reads up to `length` bytes from where `file` stands, for what cannot be read at an offset (a
// pipe, a device), and returns how many arrived: 0 at the end, -1 on an error (with the
// system's reason in *error, when error is not null). Without `wait`
// it returns kNothingYet when no bytes are there now; with `wait` it waits for bytes or the
// end, also on a named pipe that no writer has opened yet (where the system can tell). An
// interrupted read is taken up again.
std::int64_t ReadNext(int file, char* out, std::size_t length, bool wait,
                      std::string* error = nullptr);

// Creates a file for the program's own scratch bytes, which no name leads to and which goes
// when it is closed, open for reading and writing (ReadAt, WriteAll), and returns its handle;
// kNoFile with the system's reason in *error when it cannot. It is made in the directory
// TMPDIR names, or the system's own. The handle is not inherited by the listing command.
int CreateScratchFile(std::string* error);

// Closes `file`. Returns false with the system's reason in *error (when error is not null) when
// the close reports an error other than an interruption; the handle is gone either way.
bool CloseFile(int file, std::string* error = nullptr);

// Creates `path` for writing, or empties it when it exists, with the permissions the user's
// umask leaves of read and write for all, and returns its handle; kNoFile with the system's
// reason in *error when it cannot. The handle is not inherited by the listing command.
int CreateFile(const std::string& path, std::string* error);

// Puts the file `from` in the place of `to`, which it replaces when it exists, in one step: a
// reader that opens `to` meanwhile finds the old file or the new one, whole. Both are in the same
// directory. False with the system's reason in *error when it cannot.
bool ReplaceFile(const std::string& from, const std::string& to, std::string* error);

// Removes the file `path`; false when it cannot, which the caller may ignore.
bool RemoveFile(const std::string& path);

// Writes all of `bytes` to `file`, taking up interrupted and partial writes, and puts the
// number of bytes written in *written. Returns false with the system's reason in *error when
// a write fails; a write that writes nothing and reports no error is an input/output error.
bool WriteAll(int file, std::string_view bytes, std::size_t* written, std::string* error);

// True when `file` is a terminal; false for anything else and for a closed handle.
bool IsTerminal(int file);

}  // namespace tabrun::os

#endif  // TABRUN_OS_FILE_H_
