// Files through the wide-character API: names in UTF-16, 64-bit sizes and offsets, and the
// bytes as they are (no text mode anywhere: a line ends in LF alone, as on every platform).
// A handle is a C runtime descriptor wrapped around the system's handle, so that the program
// keeps its plain int handles.

#include <fcntl.h>
#include <io.h>

#include <algorithm>

#include "os/file.h"
#include "os/process.h"
#include "os/text_win32.h"

namespace tabrun::os {

namespace {

// The name of `path` in the open directory `directory`, for the wide API.
bool PathIn(int directory, const std::string& path, std::wstring* wide) {
  std::wstring name;
  if (path.find('\0') != std::string::npos || !win32::Wide(path, &name)) return false;
  if (directory != kWorkingDirectory) {
    std::replace(name.begin(), name.end(), L'/', L'\\');  // \\?\ paths are taken literally
    name = win32::DirectoryPath(directory) + L"\\" + name;
  }
  *wide = win32::ApiPath(name);
  return true;
}

// Wraps the system's `handle` in a C runtime descriptor, or closes it and says why not.
int Wrap(HANDLE handle, int flags, std::string* error) {
  const int file = _open_osfhandle(reinterpret_cast<intptr_t>(handle), flags | _O_BINARY);
  if (file < 0) {
    CloseHandle(handle);
    *error = win32::ErrorText(ERROR_TOO_MANY_OPEN_FILES);
  }
  return file;
}

}  // namespace

OpenResult OpenForReading(int directory, const std::string& path, int* file, std::string* error) {
  std::wstring wide;
  if (!PathIn(directory, path, &wide)) {
    *error = win32::ErrorText(ERROR_FILE_NOT_FOUND);
    return OpenResult::kMissing;
  }
  // Backup semantics let a directory open too, so that reading it says what it is; the
  // sharing flags let others write, rename and delete the log while it is read, as on POSIX.
  const HANDLE handle = CreateFileW(wide.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD code = GetLastError();
    const bool missing = GetFileAttributesW(wide.c_str()) == INVALID_FILE_ATTRIBUTES;
    *error = win32::ErrorText(missing ? ERROR_FILE_NOT_FOUND : code);
    return missing ? OpenResult::kMissing : OpenResult::kFailed;
  }
  *file = Wrap(handle, _O_RDONLY, error);
  return *file < 0 ? OpenResult::kFailed : OpenResult::kOpened;
}

bool Describe(int file, FileStatus* status, std::string* error) {
  const HANDLE handle = win32::SystemHandle(file);
  const DWORD type = GetFileType(handle);
  BY_HANDLE_FILE_INFORMATION info;
  if (type != FILE_TYPE_DISK) {
    if (handle == INVALID_HANDLE_VALUE) {
      *error = win32::ErrorText(ERROR_INVALID_HANDLE);
      return false;
    }
    *status = {};  // a pipe, a console or the null device: nothing to measure or compare
    if (type == FILE_TYPE_PIPE) status->kind = FileKind::kPipe;
    return true;
  }
  if (!GetFileInformationByHandle(handle, &info)) {
    *error = win32::ErrorText(GetLastError());
    return false;
  }
  status->kind = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? FileKind::kDirectory
                                                                    : FileKind::kRegular;
  status->size = (std::uint64_t{info.nFileSizeHigh} << 32) | info.nFileSizeLow;
  status->identity = {info.dwVolumeSerialNumber,
                      (std::uint64_t{info.nFileIndexHigh} << 32) | info.nFileIndexLow};
  status->modified = win32::SecondsSince1970(info.ftLastWriteTime);
  return true;
}

OpenResult DescribeAt(int directory, const std::string& path, FileStatus* status,
                      std::string* error) {
  // Windows says what a handle is; a name is opened for that, which shares everything.
  int file = kNoFile;
  const OpenResult opened = OpenForReading(directory, path, &file, error);
  if (opened != OpenResult::kOpened) return opened;
  const bool described = Describe(file, status, error);
  CloseFile(file);
  return described ? OpenResult::kOpened : OpenResult::kFailed;
}

std::string IsDirectoryText() { return win32::ErrorText(ERROR_INVALID_FUNCTION); }

std::int64_t ReadAt(int file, char* out, std::size_t length, std::uint64_t offset) {
  const HANDLE handle = win32::SystemHandle(file);
  std::size_t have = 0;
  // One ReadFile takes at most 4 GiB - 1 bytes; the offset goes with each read, so that
  // workers reading the same file at once do not move each other's position.
  while (have < length) {
    OVERLAPPED at = {};
    const std::uint64_t where = offset + have;
    at.Offset = static_cast<DWORD>(where);
    at.OffsetHigh = static_cast<DWORD>(where >> 32);
    const DWORD want = static_cast<DWORD>(std::min<std::size_t>(length - have, 1u << 30));
    DWORD got = 0;
    if (!ReadFile(handle, out + have, want, &got, &at)) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      return have > 0 ? static_cast<std::int64_t>(have) : -1;
    }
    if (got == 0) break;
    have += got;
  }
  return static_cast<std::int64_t>(have);
}

std::int64_t ReadNext(int file, char* out, std::size_t length, bool wait, std::string* error) {
  const HANDLE handle = win32::SystemHandle(file);
  DWORD available = 0;
  // Only a pipe can say what it holds now; anything else is read as it comes.
  if (!wait && GetFileType(handle) == FILE_TYPE_PIPE) {
    if (!PeekNamedPipe(handle, nullptr, 0, nullptr, &available, nullptr)) {
      const DWORD code = GetLastError();
      if (code == ERROR_BROKEN_PIPE) return 0;
      if (error != nullptr) *error = win32::ErrorText(code);
      return -1;
    }
    if (available == 0) return kNothingYet;
    length = std::min<std::size_t>(length, available);
  }
  DWORD got = 0;
  const DWORD want = static_cast<DWORD>(std::min<std::size_t>(length, 1u << 30));
  if (!ReadFile(handle, out, want, &got, nullptr)) {
    const DWORD code = GetLastError();
    if (code == ERROR_BROKEN_PIPE || code == ERROR_HANDLE_EOF) return 0;
    if (error != nullptr) *error = win32::ErrorText(code);
    return -1;
  }
  return static_cast<std::int64_t>(got);
}

int CreateScratchFile(std::string* error) {
  wchar_t directory[MAX_PATH + 1];
  wchar_t name[MAX_PATH + 1];
  if (GetTempPathW(MAX_PATH + 1, directory) == 0 ||
      GetTempFileNameW(directory, L"tab", 0, name) == 0) {
    *error = win32::ErrorText(GetLastError());
    return kNoFile;
  }
  // The name goes with the last handle: nothing is left behind.
  const HANDLE handle = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    *error = win32::ErrorText(GetLastError());
    return kNoFile;
  }
  return Wrap(handle, _O_RDWR, error);
}

bool CloseFile(int file, std::string* error) {
  win32::ForgetDirectory(file);
  if (_close(file) == 0) return true;
  if (error != nullptr) *error = win32::ErrorText(ERROR_INVALID_HANDLE);
  return false;
}

int CreateFile(const std::string& path, std::string* error) {
  std::wstring wide;
  if (!win32::Wide(path, &wide)) {
    *error = win32::ErrorText(ERROR_INVALID_NAME);
    return kNoFile;
  }
  wide = win32::ApiPath(wide);
  const HANDLE handle = CreateFileW(wide.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD code = GetLastError();
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    // A directory in the way says so, as on Linux, not "Permission denied".
    const bool directory =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    *error = directory ? IsDirectoryText() : win32::ErrorText(code);
    return kNoFile;
  }
  return Wrap(handle, _O_WRONLY, error);
}

bool ReplaceFile(const std::string& from, const std::string& to, std::string* error) {
  std::wstring wide_from;
  std::wstring wide_to;
  if (!win32::Wide(from, &wide_from) || !win32::Wide(to, &wide_to)) {
    *error = win32::ErrorText(ERROR_INVALID_NAME);
    return false;
  }
  if (MoveFileExW(win32::ApiPath(wide_from).c_str(), win32::ApiPath(wide_to).c_str(),
                  MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return true;
  }
  *error = win32::ErrorText(GetLastError());
  return false;
}

bool RemoveFile(const std::string& path) {
  std::wstring wide;
  return win32::Wide(path, &wide) && DeleteFileW(win32::ApiPath(wide).c_str());
}

bool WriteAll(int file, std::string_view bytes, std::size_t* written, std::string* error) {
  const HANDLE handle = win32::SystemHandle(file);
  *written = 0;
  while (*written < bytes.size()) {
    const DWORD want = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - *written, 1u << 30));
    DWORD n = 0;
    if (!WriteFile(handle, bytes.data() + *written, want, &n, nullptr) || n == 0) {
      const DWORD code =
          n == 0 && GetLastError() == ERROR_SUCCESS ? ERROR_WRITE_FAULT : GetLastError();
      if (win32::ErrorText(code) == "Broken pipe" && !win32::broken_pipe_ignored) {
        ExitNow(win32::kBrokenPipeStatus);
      }
      *error = win32::ErrorText(code);
      return false;
    }
    *written += n;
  }
  return true;
}

bool IsTerminal(int file) {
  DWORD mode;
  return GetConsoleMode(win32::SystemHandle(file), &mode) != 0;
}

}  // namespace tabrun::os
