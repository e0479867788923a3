#include "MonitorServer.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include <httplib.h>

#include "MonitorPage.h"

namespace skylark::tool {
namespace {

// How long a page's stream waits for an event before it sends a comment,
// which also finds out whether the page is still there.
constexpr auto kKeepAlive = std::chrono::seconds(1);

bool isLoopback(const std::string& host) {
  if (host == "localhost") return true;
  in_addr v4{};
  if (inet_pton(AF_INET, host.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
  in6_addr v6{};
  return inet_pton(AF_INET6, host.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

std::string eventText(std::string_view event, std::string_view json) {
  std::string text;
  text.reserve(event.size() + json.size() + 16);
  text.append("event: ").append(event).append("\ndata: ").append(json).append("\n\n");
  return text;
}

}  // namespace

std::optional<MonitorAddress> parseMonitorAddress(const std::string& text, bool anyInterface,
                                                  std::string* why) {
  MonitorAddress address;
  std::string port = text;
  if (const size_t colon = text.rfind(':'); colon != std::string::npos) {
    address.host = text.substr(0, colon);
    port = text.substr(colon + 1);
    if (address.host.size() >= 2 && address.host.front() == '[' && address.host.back() == ']') {
      address.host = address.host.substr(1, address.host.size() - 2);
    }
  }
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
  if (port.empty() || error != std::errc() || end != port.data() + port.size() ||
      address.port < 0 || address.port > 65535) {
    *why = "--monitor " + text + ": expected [HOST:]PORT with a port from 0 to 65535";
    return std::nullopt;
  }
  if (address.host.empty()) {
    *why = "--monitor " + text + ": the host before the colon is empty";
    return std::nullopt;
  }
  if (!anyInterface && !isLoopback(address.host)) {
    *why = "--monitor " + text + ": " + address.host +
           " is not a loopback address, and the page shows every beacon of the session to "
           "whoever reaches it; add --monitor-any to serve it there";
    return std::nullopt;
  }
  return address;
}

MonitorServer::MonitorServer(size_t maxQueued)
    : maxQueued_(maxQueued), server_(std::make_unique<httplib::Server>()) {}

MonitorServer::~MonitorServer() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  server_->stop();
  if (thread_.joinable()) thread_.join();
}

bool MonitorServer::start(const MonitorAddress& address, std::string* why) {
  server_->Get("/", [](const httplib::Request&, httplib::Response& res) {
    res.set_header("Cache-Control", "no-store");
    res.set_content(std::string(monitorPage()), "text/html; charset=utf-8");
  });
  server_->Get("/events", [this](const httplib::Request&, httplib::Response& res) {
    auto client = std::make_shared<Client>();
    std::string first;
    {
      std::lock_guard lock(mutex_);
      if (clients_.size() >= kMaxClients) {
        res.status = 503;
        res.set_content("Too many monitor pages are open.\n", "text/plain");
        return;
      }
      // Reconnect after a second; then everything so far, in one event.
      first = "retry: 1000\n\n" + snapshotText();
      clients_.push_back(client);
    }
    res.set_header("Cache-Control", "no-store");
    res.set_chunked_content_provider(
        "text/event-stream",
        [this, client, first = std::move(first)](size_t, httplib::DataSink& sink) mutable {
          std::string out = std::exchange(first, std::string());
          if (out.empty() && !nextChunk(client, out)) return false;
          return sink.write(out.data(), out.size());
        },
        [this, client](bool) {
          std::lock_guard lock(mutex_);
          std::erase(clients_, client);
        });
  });
  host_ = address.host;
  if (address.port == 0) {
    port_ = server_->bind_to_any_port(address.host);
  } else {
    port_ = server_->bind_to_port(address.host, address.port) ? address.port : -1;
  }
  if (port_ <= 0) {
    *why = "the monitor cannot listen on " + address.host + ":" + std::to_string(address.port) +
           " (the port is taken, or the host is not an address of this machine)";
    return false;
  }
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  return true;
}

std::string MonitorServer::url() const {
  const bool v6 = host_.find(':') != std::string::npos;
  return "http://" + (v6 ? "[" + host_ + "]" : host_) + ":" + std::to_string(port_) + "/";
}

void MonitorServer::publish(std::string_view event, std::string json) {
  const std::string text = eventText(event, json);
  std::lock_guard lock(mutex_);
  history_.push_back({std::string(event), std::move(json)});
  enqueue("", text);
}

void MonitorServer::publishLatest(std::string_view event, std::string key, std::string json) {
  const std::string text = eventText(event, json);
  std::lock_guard lock(mutex_);
  latest_[key] = {std::string(event), std::move(json)};
  enqueue(key, text);
}

// Called with the lock held.
void MonitorServer::enqueue(const std::string& key, const std::string& text) {
  for (const auto& client : clients_) {
    if (client->dropped) continue;
    auto& queue = client->queue;
    if (!key.empty()) {
      const auto unsent = std::find_if(queue.rbegin(), queue.rend(),
                                       [&](const Client::Queued& q) { return q.key == key; });
      if (unsent != queue.rend()) {
        unsent->text = text;
        continue;
      }
    }
    if (queue.size() >= maxQueued_) {
      // A page this far behind is let go rather than waited for.
      client->dropped = true;
      queue.clear();
      ++dropped_;
      continue;
    }
    queue.push_back({key, text});
    deepest_ = std::max(deepest_, queue.size());
  }
  changed_.notify_all();
}

// Called with the lock held.
std::string MonitorServer::snapshotText() const {
  std::string json = "[";
  auto add = [&json](const Kept& kept) {
    if (json.size() > 1) json += ",";
    json.append("{\"event\":\"").append(kept.event).append("\",\"data\":").append(kept.json);
    json += "}";
  };
  for (const auto& kept : history_) add(kept);
  for (const auto& [key, kept] : latest_) add(kept);
  json += "]";
  return eventText("snapshot", json);
}

// Waits for the client's next events; false when its stream should end.
bool MonitorServer::nextChunk(const std::shared_ptr<Client>& client, std::string& out) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, kKeepAlive,
                    [&] { return stopping_ || client->dropped || !client->queue.empty(); });
  if (stopping_ || client->dropped) return false;
  if (client->queue.empty()) {
    out = ":\n\n";
    return true;
  }
  for (const auto& queued : client->queue) out += queued.text;
  client->queue.clear();
  return true;
}

size_t MonitorServer::clientCount() const {
  std::lock_guard lock(mutex_);
  return clients_.size();
}

size_t MonitorServer::droppedClients() const {
  std::lock_guard lock(mutex_);
  return dropped_;
}

size_t MonitorServer::deepestQueue() const {
  std::lock_guard lock(mutex_);
  return deepest_;
}

}  // namespace skylark::tool
