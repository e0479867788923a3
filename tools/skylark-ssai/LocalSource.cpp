#include "LocalSource.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "platform/URLSession.h"

namespace skylark::tool {
namespace {

SKYLError unreadable(const std::string& path, const std::string& why) {
  return SKYLError("NSCocoaErrorDomain", 260, "The file " + path + " could not be read: " + why);
}

std::string tooLarge(size_t limit) {
  return fmt::format("it is larger than {} MiB, the most an ad document may be", limit >> 20);
}

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

Result<std::string> readLocalSource(const std::string& path, size_t limit,
                                    std::chrono::milliseconds timeout) {
  // Without O_NONBLOCK, opening a FIFO waits for a writer, for ever.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (file.get() < 0) return unreadable(path, std::strerror(errno));
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return unreadable(path, std::strerror(errno));
  if (S_ISDIR(info.st_mode)) return unreadable(path, "it is a directory");
  const bool regular = S_ISREG(info.st_mode);
  if (regular && static_cast<uint64_t>(info.st_size) > limit) {
    return unreadable(path, tooLarge(limit));
  }
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  std::string bytes;
  char buffer[1 << 16];
  while (true) {
    if (!regular) {
      // A FIFO that no writer has opened yet reads as its end: wait for
      // data (or a writer's close) first.
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      pollfd ready{file.get(), POLLIN, 0};
      const int polled = left.count() > 0 ? ::poll(&ready, 1, static_cast<int>(left.count())) : 0;
      if (polled < 0 && errno == EINTR) continue;
      if (polled < 0) return unreadable(path, std::strerror(errno));
      if (polled == 0) {
        return unreadable(path, fmt::format("it sent no end within {} s (a FIFO without a writer?)",
                                            timeout.count() / 1000.0));
      }
    }
    const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got < 0) return unreadable(path, std::strerror(errno));
    if (got == 0) return bytes;
    if (bytes.size() + static_cast<size_t>(got) > limit) return unreadable(path, tooLarge(limit));
    bytes.append(buffer, static_cast<size_t>(got));
  }
}

Result<std::string> readLocalSource(const std::string& path) {
  const URLSession::Configuration download;
  return readLocalSource(path, download.maximumBodyBytes, download.connectTimeout);
}

}  // namespace skylark::tool
