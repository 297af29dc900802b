// The log files of a directory, read from the directory itself.

#ifndef TABRUN_RECIO_LOG_DIRECTORY_H_
#define TABRUN_RECIO_LOG_DIRECTORY_H_

#include <string>

#include "recio/name_list.h"

namespace tabrun {

// Adds the names of the entries of the directory `path` that end in ".log" to the end of
// *names, sorted byte by byte among themselves, whatever else they hold (blanks, line feeds, a
// leading '-', bytes that are not UTF-8). Hidden names, which start with a dot, are left out, as
// the shell's *.log leaves them out. Sub-directories are listed like any entry and never descended.
// Returns false with the operating system's reason in *error, and *names as it was, when the
// directory cannot be read.
bool ListLogNames(const std::string& path, NameList* names, std::string* error);

}  // namespace tabrun

#endif  // TABRUN_RECIO_LOG_DIRECTORY_H_
