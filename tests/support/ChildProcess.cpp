#include "support/ChildProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace skylark::test {

ChildProcess::ChildProcess(const std::vector<std::string>& argv) {
  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) throw std::runtime_error("pipe failed");
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("fork failed");
  if (pid_ == 0) {
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    close(out[0]);
    close(err[0]);
    close(out[1]);
    close(err[1]);
    std::vector<char*> args;
    for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  outFd_ = out[0];
  errFd_ = err[0];
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  if (outFd_ >= 0) close(outFd_);
  if (errFd_ >= 0) close(errFd_);
}

bool ChildProcess::pump(std::chrono::steady_clock::duration timeout) {
  pollfd fds[2] = {{outFd_, POLLIN, 0}, {errFd_, POLLIN, 0}};
  if (outFd_ < 0 && errFd_ < 0) return false;
  const int ms =
      static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(timeout).count());
  if (poll(fds, 2, ms) <= 0) return true;
  int* fdOf[2] = {&outFd_, &errFd_};
  std::string* into[2] = {&out_, &err_};
  for (int i = 0; i < 2; ++i) {
    if (*fdOf[i] < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
    char buffer[65536];
    const ssize_t n = read(*fdOf[i], buffer, sizeof buffer);
    if (n > 0) {
      into[i]->append(buffer, static_cast<size_t>(n));
    } else {
      close(*fdOf[i]);
      *fdOf[i] = -1;
    }
  }
  return outFd_ >= 0 || errFd_ >= 0;
}

std::optional<std::string> ChildProcess::waitForErrorLine(
    const std::string& text, std::chrono::steady_clock::duration timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (true) {
    for (size_t end; (end = err_.find('\n', errScanned_)) != std::string::npos;) {
      std::string line = err_.substr(errScanned_, end - errScanned_);
      errScanned_ = end + 1;
      if (line.find(text) != std::string::npos) return line;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now >= deadline || !pump(std::min<std::chrono::steady_clock::duration>(
                               deadline - now, std::chrono::milliseconds(100)))) {
      return std::nullopt;
    }
  }
}

std::optional<int> ChildProcess::interruptAndWait(std::chrono::steady_clock::duration timeout) {
  if (pid_ > 0) kill(pid_, SIGINT);
  return wait(timeout);
}

std::optional<int> ChildProcess::wait(std::chrono::steady_clock::duration timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < deadline) {
    pump(std::chrono::milliseconds(20));
    int status = 0;
    if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      // What it wrote last; its own children may hold the pipes a while.
      const auto drained = std::chrono::steady_clock::now() + std::chrono::seconds(2);
      while (std::chrono::steady_clock::now() < drained && pump(std::chrono::milliseconds(20))) {
      }
      if (WIFEXITED(status)) return WEXITSTATUS(status);
      return 128 + WTERMSIG(status);
    }
  }
  return std::nullopt;
}

}  // namespace skylark::test
