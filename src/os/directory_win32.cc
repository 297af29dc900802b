// Directories through the wide-character API; names come back as UTF-8.

#include <fcntl.h>

#include "os/directory.h"
#include "os/file.h"
#include "os/text_win32.h"

namespace tabrun::os {

NameCase PatternCase() { return NameCase::kAnyCase; }

bool IsDirectory(const std::string& path) {
  std::wstring wide;
  if (!win32::Wide(path, &wide)) return false;
  const DWORD attributes = GetFileAttributesW(win32::ApiPath(wide).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool ListDirectoryEntries(const std::string& path, std::vector<DirectoryEntry>* entries,
                          std::string* error) {
  std::wstring wide;
  if (!win32::Wide(path, &wide)) {
    *error = win32::ErrorText(ERROR_FILE_NOT_FOUND);
    return false;
  }
  if (!wide.empty() && wide.back() != L'\\' && wide.back() != L'/') wide += L'\\';
  WIN32_FIND_DATAW found;
  const HANDLE find = FindFirstFileExW(win32::ApiPath(wide + L"*").c_str(), FindExInfoBasic, &found,
                                       FindExSearchNameMatch, nullptr, 0);
  entries->clear();
  if (find == INVALID_HANDLE_VALUE) {
    const DWORD code = GetLastError();
    if (code == ERROR_FILE_NOT_FOUND) return true;  // a drive's root may have no entry at all
    *error = win32::ErrorText(code);
    return false;
  }
  do {
    const std::wstring_view name = found.cFileName;
    if (name == L"." || name == L"..") continue;
    // FILETIME counts 100 ns from 1601-01-01, 11644473600 s before 1970.
    const std::int64_t ticks =
        static_cast<std::int64_t>((std::uint64_t{found.ftLastWriteTime.dwHighDateTime} << 32) |
                                  found.ftLastWriteTime.dwLowDateTime);
    entries->push_back({win32::Utf8(name),
                        (std::uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow,
                        ticks / 10'000'000 - 11'644'473'600,
                        (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
  } while (FindNextFileW(find, &found));
  const DWORD code = GetLastError();
  FindClose(find);
  if (code != ERROR_NO_MORE_FILES) {
    *error = win32::ErrorText(code);
    return false;
  }
  return true;
}

bool ListDirectory(const std::string& path, std::string* error,
                   const std::function<void(std::string_view name)>& each) {
  std::vector<DirectoryEntry> entries;
  if (!ListDirectoryEntries(path, &entries, error)) return false;
  for (const DirectoryEntry& entry : entries) each(entry.name);
  return true;
}

int OpenDirectory(const std::string& path, std::string* error) {
  std::wstring wide;
  if (!win32::Wide(path, &wide)) {
    *error = win32::ErrorText(ERROR_FILE_NOT_FOUND);
    return kNoFile;
  }
  wide = win32::ApiPath(wide);
  const HANDLE handle = CreateFileW(wide.c_str(), FILE_LIST_DIRECTORY,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    *error = win32::ErrorText(GetLastError());
    return kNoFile;
  }
  const int directory = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDONLY);
  if (directory < 0) {
    CloseHandle(handle);
    *error = win32::ErrorText(ERROR_TOO_MANY_OPEN_FILES);
    return kNoFile;
  }
  win32::RememberDirectory(directory, wide);
  return directory;
}

}  // namespace tabrun::os
