// Directories: whether a name is one, their entries, and handles for opening files in them.

#ifndef TABRUN_OS_DIRECTORY_H_
#define TABRUN_OS_DIRECTORY_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tabrun::os {

// How the platform's own tools match a file name against a pattern such as *.log: with case
// counting, as the shells of Linux and macOS do, or in any case, as cmd.exe, PowerShell and
// FindFirstFile do on Windows.
enum class NameCase { kExact, kAnyCase };
NameCase PatternCase();

// True when `path` names a directory, following symbolic links; false for anything else,
// for a name that names nothing, and when the system cannot tell.
bool IsDirectory(const std::string& path);

// An entry of a directory as a listing gives it: its name and, where the listing itself says
// them (`described`: on Windows, not on POSIX), its size, time and kind, so that a caller that
// compares them needs no question per entry. Those of a `link` (a symbolic link or another
// entry that leads elsewhere) are its own, not those of the file it leads to.
struct ListedEntry {
  std::string_view name;  // the bytes the system stores (UTF-8 where it stores another form)
  bool described = false;
  bool link = false;
  bool is_directory = false;
  std::uint64_t size = 0;     // in bytes
  std::int64_t modified = 0;  // as FileStatus::modified (file.h)
};

// Hands every entry of the directory `path` to `each`, one at a time, in the order the system
// gives them, without "." and "..", so that a directory of a million entries is never held
// whole here. The name lives only during its call. Returns false with the system's reason in
// *error when the directory cannot be opened or read; `each` may have had some of the entries
// by then.
bool ListDirectory(const std::string& path, std::string* error,
                   const std::function<void(const ListedEntry& entry)>& each);

// An entry of a directory with what the system says of it.
struct DirectoryEntry {
  std::string name;           // as ListDirectory gives it
  std::uint64_t size = 0;     // in bytes; of a symbolic link, that of what it leads to
  std::int64_t modified = 0;  // the time of the last change, in seconds since 1970-01-01 UTC
  bool is_directory = false;
};

// As ListDirectory, with each entry's size, time and kind. An entry that vanishes between the
// listing and the question about it is left out.
bool ListDirectoryEntries(const std::string& path, std::vector<DirectoryEntry>* entries,
                          std::string* error);

// Opens the directory `path` as a handle that OpenForReading (file.h) takes, so that a file in
// it opens by its name alone, however long the directory's path; returns the handle, or
// kNoFile with the system's reason in *error. The handle is not inherited by the listing
// command. Close it with CloseFile. A platform that cannot open directories as handles
// keeps the path behind the handle and joins it to each name.
int OpenDirectory(const std::string& path, std::string* error);

}  // namespace tabrun::os

#endif  // TABRUN_OS_DIRECTORY_H_
