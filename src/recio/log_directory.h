// The log files of a directory, read from the directory itself.

#ifndef TABRUN_RECIO_LOG_DIRECTORY_H_
#define TABRUN_RECIO_LOG_DIRECTORY_H_

#include <string>
#include <string_view>

#include "os/directory.h"
#include "recio/name_list.h"

namespace tabrun {

// Whether *.log matches `name`: it ends in ".log", in any case where `name_case` is kAnyCase,
// and does not start with a dot (globs skip hidden names).
bool MatchesLogPattern(std::string_view name, os::NameCase name_case);

// Adds the names of the entries of the directory `path` that *.log matches here (in the
// platform's os::PatternCase) to the end of *names, sorted byte by byte among themselves, whatever
// else they hold (blanks, line feeds, a leading '-', bytes that are not UTF-8). Sub-directories are
// listed like any entry and never descended. Returns false with the operating system's reason in
// *error, and *names as it was, when the directory cannot be read.
bool ListLogNames(const std::string& path, NameList* names, std::string* error);

}  // namespace tabrun

#endif  // TABRUN_RECIO_LOG_DIRECTORY_H_
