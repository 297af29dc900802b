// Change notification: the names in watched directories that were created, written, moved or
// deleted (not those whose times alone were set), as the system tells them, where it does
// (inotify on Linux). It only lets a watch look sooner and at less; the watch stays correct
// without it, since network file systems tell nothing of changes made on other machines.

#ifndef TABRUN_OS_CHANGE_FEED_H_
#define TABRUN_OS_CHANGE_FEED_H_

#include <functional>
#include <string>
#include <string_view>

namespace tabrun::os {

class ChangeFeed {
 public:
  ChangeFeed();
  ~ChangeFeed();
  ChangeFeed(const ChangeFeed&) = delete;
  ChangeFeed& operator=(const ChangeFeed&) = delete;

  // Starts telling the changes of the entries of the directory `path`, and returns a number
  // for it (0 or more); -1 where the system cannot tell them all: no change notification here,
  // no more watches, or a file system shared over the network, where changes made elsewhere
  // are not told.
  int Watch(const std::string& path);

  // Hands each(directory, name) every entry name that changed since the last call, without
  // waiting, one call per change. Returns false when changes were lost (the system's queue
  // overflowed, or a watched directory went away): then every entry may have changed.
  bool Take(const std::function<void(int directory, std::string_view name)>& each);

 private:
  int fd_;
};

}  // namespace tabrun::os

#endif  // TABRUN_OS_CHANGE_FEED_H_
