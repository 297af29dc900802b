// What every Windows file of the operating-system layer shares: names converted between the
// program's UTF-8 and the Windows API's UTF-16, and the system's errors in the words that
// Linux uses for them.

#ifndef TABRUN_OS_TEXT_WIN32_H_
#define TABRUN_OS_TEXT_WIN32_H_

#include <windows.h>
// windows.h makes CreateFile and ReplaceFile macros, which would rename the layer's own
// functions of those names (file.h).
#undef CreateFile
#undef ReplaceFile

#include <cstdint>
#include <string>
#include <string_view>

namespace tabrun::os::win32 {

// The UTF-16 form of the UTF-8 `text`; false when `text` is not valid UTF-8 (no file can have
// such a name on Windows).
bool Wide(std::string_view text, std::wstring* wide);

// The UTF-8 form of the UTF-16 `wide`; a lone surrogate becomes U+FFFD.
std::string Utf8(std::wstring_view wide);

// `path` as the wide API should be given it: unchanged when it is short, and otherwise made
// absolute, with backslashes, behind the \\?\ prefix that lifts the limit of 260 characters.
std::wstring ApiPath(const std::wstring& path);

// The text Linux's strerror gives for the cause of the Windows error `code` where there is one
// ("No such file or directory", "Permission denied", "Is a directory", ...), else "Windows
// error " and the code.
std::string ErrorText(DWORD code);

// Set by IgnoreBrokenPipe (process.h). Windows has no signal for a closed pipe: until the
// program asks otherwise, a write to one ends the process as the signal would, with
// kBrokenPipeStatus, what a POSIX shell shows for a process ended by SIGPIPE (128 + 13).
extern bool broken_pipe_ignored;
inline constexpr int kBrokenPipeStatus = 141;

// The path of each directory that OpenDirectory (directory.h) has opened, by its handle:
// OpenForReading joins it to a name, since Windows opens nothing relative to a handle.
// Safe to call from any thread.
void RememberDirectory(int directory, std::wstring path);
std::wstring DirectoryPath(int directory);
void ForgetDirectory(int directory);

// A file time (ticks of 100 ns since 1601-01-01 UTC) in whole seconds since 1970-01-01 UTC,
// rounded down, as FileStatus::modified (file.h) holds it.
inline std::int64_t SecondsSince1970(const FILETIME& time) {
  constexpr std::int64_t kTicksPerSecond = 10'000'000;
  constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
  const auto ticks =
      static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
  return ticks / kTicksPerSecond - (ticks % kTicksPerSecond < 0 ? 1 : 0) - kSecondsFrom1601To1970;
}

// The operating-system handle behind the program's handle `file`, or INVALID_HANDLE_VALUE.
HANDLE SystemHandle(int file);

}  // namespace tabrun::os::win32

#endif  // TABRUN_OS_TEXT_WIN32_H_
