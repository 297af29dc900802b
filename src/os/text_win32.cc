#include "os/text_win32.h"

#include <io.h>

#include <map>
#include <mutex>

namespace tabrun::os::win32 {
namespace {

// Paths from this length on take the \\?\ prefix: the classic limit is 260 characters with
// the terminating NUL, and a directory's own limit is 12 fewer (room for an 8.3 name).
constexpr std::size_t kLongPath = 248;

std::mutex directories_mutex;
std::map<int, std::wstring> directories;  // guarded by directories_mutex

// True when the last part of `path` is one of the device names Windows reserves in every
// directory (NUL, CON, COM1, ...; with any extension, "nul.log" too): only the \\?\ form
// opens a file of that name.
bool NamesDevice(std::wstring_view path) {
  std::wstring_view name = path.substr(path.find_last_of(L"\\/") + 1);
  name = name.substr(0, name.find(L'.'));
  while (!name.empty() && name.back() == L' ') name.remove_suffix(1);
  std::wstring upper(name);
  for (wchar_t& c : upper) c = static_cast<wchar_t>(c >= L'a' && c <= L'z' ? c - 32 : c);
  if (upper == L"NUL" || upper == L"CON" || upper == L"PRN" || upper == L"AUX") return true;
  return upper.size() == 4 && (upper.starts_with(L"COM") || upper.starts_with(L"LPT")) &&
         upper[3] >= L'1' && upper[3] <= L'9';
}

// The absolute form of `path`, from the system.
std::wstring FullPath(const std::wstring& path) {
  const DWORD size = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (size == 0) return path;
  std::wstring full(size, L'\0');
  full.resize(GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
  return full;
}

}  // namespace

bool Wide(std::string_view text, std::wstring* wide) {
  wide->clear();
  if (text.empty()) return true;
  const int size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                       static_cast<int>(text.size()), nullptr, 0);
  if (size <= 0) return false;
  wide->resize(static_cast<std::size_t>(size));
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                      wide->data(), size);
  return true;
}

std::string Utf8(std::wstring_view wide) {
  if (wide.empty()) return {};
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                       nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(), size,
                      nullptr, nullptr);
  return text;
}

std::wstring ApiPath(const std::wstring& path) {
  if (path.starts_with(L"\\\\?\\")) return path;
  const bool device = NamesDevice(path);
  if (path.size() < kLongPath && !device) return path;
  std::wstring full;
  const std::size_t slash = path.find_last_of(L"\\/");
  const std::wstring last = path.substr(slash + 1);
  if (device || (last != L"." && last != L"..")) {
    // The system would take a device name in the last place for the device itself: only
    // the directory is made absolute by it.
    full = FullPath(slash == std::wstring::npos ? L"." : path.substr(0, slash + 1));
    if (!full.ends_with(L'\\')) full += L'\\';
    full += last;
  } else {
    full = FullPath(path);
  }
  // A share's \\server\name becomes \\?\UNC\server\name.
  if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC\\" + full.substr(2);
  return L"\\\\?\\" + full;
}

std::string ErrorText(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_PATHNAME:
      return "No such file or directory";
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return "Permission denied";
    case ERROR_DIRECTORY:
      return "Not a directory";
    case ERROR_INVALID_FUNCTION:
      return "Is a directory";  // a read of a directory handle
    case ERROR_FILENAME_EXCED_RANGE:
      return "File name too long";
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
    case ERROR_PIPE_NOT_CONNECTED:
      return "Broken pipe";
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return "No space left on device";
    case ERROR_INVALID_HANDLE:
      return "Bad file descriptor";
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
      return "Cannot allocate memory";
    case ERROR_WRITE_PROTECT:
      return "Read-only file system";
    case ERROR_TOO_MANY_OPEN_FILES:
      return "Too many open files";
    case ERROR_CRC:
    case ERROR_READ_FAULT:
    case ERROR_WRITE_FAULT:
    case ERROR_GEN_FAILURE:
      return "Input/output error";
    default:
      return "Windows error " + std::to_string(code);
  }
}

void RememberDirectory(int directory, std::wstring path) {
  const std::lock_guard<std::mutex> lock(directories_mutex);
  directories[directory] = std::move(path);
}

std::wstring DirectoryPath(int directory) {
  const std::lock_guard<std::mutex> lock(directories_mutex);
  const auto found = directories.find(directory);
  return found == directories.end() ? std::wstring() : found->second;
}

void ForgetDirectory(int directory) {
  const std::lock_guard<std::mutex> lock(directories_mutex);
  directories.erase(directory);
}

HANDLE SystemHandle(int file) { return reinterpret_cast<HANDLE>(_get_osfhandle(file)); }

}  // namespace tabrun::os::win32
