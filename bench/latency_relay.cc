// A network's latency without a network, for bench/netfs.sh: sshfs starts this program in place
// of ssh (-o ssh_command='tabrun_latency_relay MICROSECONDS'); it starts the local sftp server
// and relays the bytes of both directions, holding each chunk for MICROSECONDS (half the round
// trip) from the moment it was read. Chunks in flight do not wait for each other: a reader
// thread stamps each chunk as it comes and a writer thread sends it when its time is up, so
// that many requests can be on their way at once, as on a real link. The arguments that sshfs
// adds for ssh are ignored. Standard library and POSIX only.

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

// One direction: bytes read from `from` are written to `to` `delay` later.
class Link {
 public:
  Link(int from, int to, std::chrono::microseconds delay) : from_(from), to_(to), delay_(delay) {}

  void Run() {
    std::thread writer(&Link::Write, this);
    Read();
    writer.join();
    close(to_);
  }

 private:
  struct Chunk {
    Clock::time_point due;
    std::string bytes;
  };

  void Read() {
    char buffer[1 << 16];
    for (;;) {
      const ssize_t got = read(from_, buffer, sizeof buffer);
      if (got < 0 && errno == EINTR) continue;
      const std::lock_guard<std::mutex> lock(mutex_);
      if (got <= 0) {
        done_ = true;
      } else {
        chunks_.push_back({Clock::now() + delay_, std::string(buffer, static_cast<size_t>(got))});
      }
      ready_.notify_one();
      if (done_) return;
    }
  }

  void Write() {
    for (;;) {
      Chunk chunk;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        ready_.wait(lock, [&] { return done_ || !chunks_.empty(); });
        if (chunks_.empty()) return;
        chunk = std::move(chunks_.front());
        chunks_.pop_front();
      }
      std::this_thread::sleep_until(chunk.due);
      for (size_t at = 0; at < chunk.bytes.size();) {
        const ssize_t put = write(to_, chunk.bytes.data() + at, chunk.bytes.size() - at);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) std::_Exit(1);  // the other side has gone
        at += static_cast<size_t>(put);
      }
    }
  }

  const int from_, to_;
  const std::chrono::microseconds delay_;
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<Chunk> chunks_;  // guarded by mutex_, as done_
  bool done_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  char* end = nullptr;
  const long micros = argc > 1 ? std::strtol(argv[1], &end, 10) : -1;
  if (argc < 2 || *end != '\0' || micros < 0) {
    std::fprintf(stderr, "usage: tabrun_latency_relay MICROSECONDS [ignored...]\n");
    return 2;
  }
  const char* server = std::getenv("TABRUN_SFTP_SERVER");
  if (server == nullptr) server = "/usr/lib/openssh/sftp-server";
  int to_server[2], from_server[2];
  if (pipe(to_server) != 0 || pipe(from_server) != 0) return 1;
  const pid_t child = fork();
  if (child < 0) return 1;
  if (child == 0) {
    dup2(to_server[0], 0);
    dup2(from_server[1], 1);
    for (const int fd : {to_server[0], to_server[1], from_server[0], from_server[1]}) close(fd);
    execl(server, server, static_cast<char*>(nullptr));
    std::perror(server);
    std::_Exit(127);
  }
  close(to_server[0]);
  close(from_server[1]);
  // Wake-ups as exact as the system gives them: the default slack of 50 us is a quarter of the
  // shortest delay timed.
  prctl(PR_SET_TIMERSLACK, 1UL, 0, 0, 0);
  const std::chrono::microseconds delay(micros);
  Link up(0, to_server[1], delay), down(from_server[0], 1, delay);
  std::thread upward(&Link::Run, &up);
  down.Run();
  upward.detach();  // sshfs has gone: the server's end is closed, nothing is left to send
  int status = 0;
  waitpid(child, &status, 0);
  return 0;
}
