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

bool ListDirectory(const std::string& path, std::string* error,
                   const std::function<void(const ListedEntry& entry)>& each) {
  std::wstring wide;
  if (!win32::Wide(path, &wide)) {
    *error = win32::ErrorText(ERROR_FILE_NOT_FOUND);
    return false;
  }
  if (!wide.empty() && wide.back() != L'\\' && wide.back() != L'/') wide += L'\\';
  WIN32_FIND_DATAW found;
  const HANDLE find = FindFirstFileExW(win32::ApiPath(wide + L"*").c_str(), FindExInfoBasic, &found,
                                       FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
  if (find == INVALID_HANDLE_VALUE) {
    const DWORD code = GetLastError();
    if (code == ERROR_FILE_NOT_FOUND) return true;  // a drive's root may have no entry at all
    *error = win32::ErrorText(code);
    return false;
  }
  std::string name;
  do {
    const std::wstring_view wide_name = found.cFileName;
    if (wide_name == L"." || wide_name == L"..") continue;
    name = win32::Utf8(wide_name);
    each({.name = name,
          .described = true,
          .link = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0,
          .is_directory = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
          .size = (std::uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow,
          .modified = win32::SecondsSince1970(found.ftLastWriteTime)});
  } while (FindNextFileW(find, &found));
  const DWORD code = GetLastError();
  FindClose(find);
  if (code != ERROR_NO_MORE_FILES) {
    *error = win32::ErrorText(code);
    return false;
  }
  return true;
}

bool ListDirectoryEntries(const std::string& path, std::vector<DirectoryEntry>* entries,
                          std::string* error) {
  entries->clear();
  return ListDirectory(path, error, [entries](const ListedEntry& listed) {
    entries->push_back(
        {std::string(listed.name), listed.size, listed.modified, listed.is_directory});
  });
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
