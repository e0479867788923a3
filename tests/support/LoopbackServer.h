#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace skylark::test {

// An HTTP server on 127.0.0.1 at an ephemeral port, for tests. Besides the
// routes a test adds, it serves:
//   /status/N        an empty body with status N
//   /delay/MS        "late" after MS milliseconds
//   /bytes/N         N bytes of 'x'
//   /redirect?to=U   302 to U
//   /redirects/N     a chain of N redirects ending in "end"
// Every request is recorded once its response is written, so a client can
// hear back before the record exists: wait for it (waitForRequests).
class LoopbackServer {
 public:
  struct Request {
    std::string method;
    std::string path;  // with its query
    std::multimap<std::string, std::string> headers;
    std::string body;

    std::string header(const std::string& name) const;
  };

  // `routes` adds the test's own handlers before the server starts.
  explicit LoopbackServer(const std::function<void(httplib::Server&)>& routes = {});
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int port() const { return port_; }
  std::string url(std::string_view pathAndQuery) const;

  std::vector<Request> requests() const;
  // Waits until `count` requests have arrived, or the timeout passes.
  bool waitForRequests(size_t count, std::chrono::milliseconds timeout) const;

 private:
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<Request> requests_;
};

}  // namespace skylark::test
