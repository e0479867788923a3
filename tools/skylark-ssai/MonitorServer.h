#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace skylark::tool {

// Where the monitor listens: --monitor [HOST:]PORT.
struct MonitorAddress {
  std::string host = "127.0.0.1";
  int port = 0;  // 0: the system picks one
};

// Reads [HOST:]PORT ("8080", "localhost:0", "[::1]:9000"). Only loopback
// hosts pass unless anyInterface: the page shows every beacon of the
// session to whoever reaches it. On failure, says why in *why.
std::optional<MonitorAddress> parseMonitorAddress(const std::string& text, bool anyInterface,
                                                  std::string* why);

// Serves the monitor page and pushes what a session does to every page
// that has it open, as Server-Sent Events. A page that connects late, or
// again, first receives the state so far ("snapshot"), then each event as
// it comes.
//
// publish() never waits for a page: each page has a queue of at most
// maxQueued events, and a page that lets its queue fill (a stalled or
// vanished browser) is disconnected; reconnecting, it starts from the
// snapshot. Safe from any thread; pages are served on the HTTP server's
// own threads.
class MonitorServer {
 public:
  static constexpr size_t kDefaultMaxQueued = 1024;
  // At most this many pages follow the events at once; the server keeps
  // threads free for page loads.
  static constexpr size_t kMaxClients = 4;

  explicit MonitorServer(size_t maxQueued = kDefaultMaxQueued);
  ~MonitorServer();
  MonitorServer(const MonitorServer&) = delete;
  MonitorServer& operator=(const MonitorServer&) = delete;

  // Binds and starts serving; false, with why, when the address cannot be
  // listened on.
  bool start(const MonitorAddress& address, std::string* why);
  // The page's address, once started (the port the system chose, for 0).
  std::string url() const;
  int port() const { return port_; }

  // An event every page keeps: part of every later snapshot.
  void publish(std::string_view event, std::string json);
  // An event that supersedes the previous one with the same key (the
  // playhead, a session's delivery table): snapshots hold only the latest,
  // and a page's queue holds at most one not yet sent.
  void publishLatest(std::string_view event, std::string key, std::string json);

  // What a test asks of it.
  size_t clientCount() const;
  size_t droppedClients() const;
  size_t deepestQueue() const;

 private:
  struct Client {
    struct Queued {
      std::string key;  // empty for events every page keeps
      std::string text;
    };
    std::deque<Queued> queue;
    bool dropped = false;
  };
  struct Kept {
    std::string event;
    std::string json;
  };

  void enqueue(const std::string& key, const std::string& text);
  std::string snapshotText() const;
  bool nextChunk(const std::shared_ptr<Client>& client, std::string& out);

  const size_t maxQueued_;
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  std::string host_;
  int port_ = 0;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::shared_ptr<Client>> clients_;
  std::vector<Kept> history_;
  std::map<std::string, Kept> latest_;
  bool stopping_ = false;
  size_t dropped_ = 0;
  size_t deepest_ = 0;
};

}  // namespace skylark::tool
