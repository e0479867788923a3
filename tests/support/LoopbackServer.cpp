#include "support/LoopbackServer.h"

#include <httplib.h>

namespace skylark::test {

std::string LoopbackServer::Request::header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string() : found->second;
}

LoopbackServer::LoopbackServer(const std::function<void(httplib::Server&)>& routes)
    : server_(std::make_unique<httplib::Server>()) {
  httplib::Server& server = *server_;
  server.set_logger([this](const httplib::Request& request, const httplib::Response&) {
    Request recorded;
    recorded.method = request.method;
    recorded.path = request.target;
    for (const auto& [name, value] : request.headers) recorded.headers.emplace(name, value);
    recorded.body = request.body;
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(std::move(recorded));
    }
    arrived_.notify_all();
  });
  // One request per connection, so stopping never waits out a keep-alive.
  server.set_keep_alive_max_count(1);
  if (routes) routes(server);
  server.Get(R"(/status/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    response.status = std::stoi(request.matches[1]);
  });
  server.Get(R"(/delay/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(request.matches[1])));
    response.set_content("late", "text/plain");
  });
  server.Get(R"(/bytes/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    response.set_content(std::string(std::stoul(request.matches[1]), 'x'),
                         "application/octet-stream");
  });
  server.Get("/redirect", [](const httplib::Request& request, httplib::Response& response) {
    response.set_redirect(request.get_param_value("to"));
  });
  server.Get(R"(/redirects/(\d+))",
             [](const httplib::Request& request, httplib::Response& response) {
               const int left = std::stoi(request.matches[1]);
               if (left == 0) {
                 response.set_content("end", "text/plain");
               } else {
                 response.set_redirect("/redirects/" + std::to_string(left - 1));
               }
             });
  port_ = server.bind_to_any_port("127.0.0.1");
  thread_ = std::thread([&server] { server.listen_after_bind(); });
  // stop() is lost on a server whose accept loop has not started yet, so
  // the server is only handed out running.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!server.is_running() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
}

LoopbackServer::~LoopbackServer() {
  server_->stop();
  if (thread_.joinable()) thread_.join();
}

std::string LoopbackServer::url(std::string_view pathAndQuery) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(pathAndQuery);
}

std::vector<LoopbackServer::Request> LoopbackServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

bool LoopbackServer::waitForRequests(size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return arrived_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

}  // namespace skylark::test
