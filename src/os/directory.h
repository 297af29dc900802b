// Directories: whether a name is one, their entries, and handles for opening files in them.

#ifndef TABRUN_OS_DIRECTORY_H_
#define TABRUN_OS_DIRECTORY_H_

#include <functional>
#include <string>
#include <string_view>

namespace tabrun::os {

// True when `path` names a directory, following symbolic links; false for anything else,
// for a name that names nothing, and when the system cannot tell.
bool IsDirectory(const std::string& path);

// Hands the name of every entry of the directory `path` to `each`, one at a time, in the order
// the system gives them, without "." and "..", each as the bytes the system stores (UTF-8 where
// the system stores names in another form), so that a directory of a million entries is never
// held whole here. Returns false with the system's reason in *error when the directory cannot
// be opened or read; `each` may have had some of the names by then.
bool ListDirectory(const std::string& path, std::string* error,
                   const std::function<void(std::string_view name)>& each);

// Opens the directory `path` as a handle that OpenForReading (file.h) takes, so that a file in
// it opens by its name alone, however long the directory's path; returns the handle, or
// kNoFile with the system's reason in *error. The handle is not inherited by the listing
// command. Close it with CloseFile. A platform that cannot open directories as handles
// keeps the path behind the handle and joins it to each name.
int OpenDirectory(const std::string& path, std::string* error);

}  // namespace tabrun::os

#endif  // TABRUN_OS_DIRECTORY_H_
