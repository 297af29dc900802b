#include <errno.h>
#include <sys/inotify.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "os/change_feed.h"

namespace tabrun::os {
namespace {

// The file systems whose changes may come from other machines, which inotify does not see: NFS,
// SMB and CIFS, FUSE (sshfs), Coda, AFS, Ceph, 9P, Lustre and GPFS.
bool Shared(const std::string& path) {
  struct statfs fs;
  if (statfs(path.c_str(), &fs) != 0) return true;
  constexpr std::uint64_t kShared[] = {0x6969,     0x517B,     0xFF534D42, 0xFE534D42,
                                       0x65735546, 0x73757245, 0x5346414F, 0x00C36400,
                                       0x01021997, 0x0BD00BD0, 0x47504653};
  for (const std::uint64_t type : kShared) {
    if (static_cast<std::uint64_t>(fs.f_type) == type) return true;
  }
  return false;
}

}  // namespace

ChangeFeed::ChangeFeed() : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

ChangeFeed::~ChangeFeed() {
  if (fd_ >= 0) close(fd_);
}

int ChangeFeed::Watch(const std::string& path) {
  if (fd_ < 0 || Shared(path)) return -1;
  // Not IN_ATTRIB: reading a log sets its access time, and the watch's own first look would
  // flood the queue; a time set by hand is seen at the next full look.
  return inotify_add_watch(fd_, path.c_str(),
                           IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM |
                               IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
}

bool ChangeFeed::Take(const std::function<void(int, std::string_view)>& each) {
  if (fd_ < 0) return true;
  alignas(inotify_event) char buffer[64 * 1024];
  bool whole = true;
  for (;;) {
    const ssize_t got = read(fd_, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return whole;  // EAGAIN: nothing more now
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      if (event->mask & (IN_Q_OVERFLOW | IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) {
        whole = false;
      } else if (event->len > 0) {
        each(event->wd, std::string_view(event->name, std::strlen(event->name)));
      }
    }
  }
}

}  // namespace tabrun::os
