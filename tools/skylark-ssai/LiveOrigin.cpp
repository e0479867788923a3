#include "LiveOrigin.h"

#include <fstream>
#include <sstream>

#include <httplib.h>

namespace skylark::tool {
namespace {

std::string fileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

void LiveOrigin::serveWindow(httplib::Server& server, const std::string& path, LiveWindow window,
                             std::chrono::steady_clock::time_point started, double startPosition) {
  server.Get(path, [window = std::move(window), started, startPosition](
                       const httplib::Request&, httplib::Response& response) {
    response.set_header("Cache-Control", "no-cache");
    response.set_content(window.playlistAt(startPosition + secondsSince(started)),
                         "application/vnd.apple.mpegurl");
  });
}

std::unique_ptr<LiveOrigin> LiveOrigin::start(const Options& options, std::string* why) {
  std::unique_ptr<LiveOrigin> origin(new LiveOrigin());
  origin->options_ = options;
  origin->server_ = std::make_unique<httplib::Server>();
  auto& server = *origin->server_;
  // One request per connection, so stopping never waits out a keep-alive.
  server.set_keep_alive_max_count(1);
  origin->started_ = std::chrono::steady_clock::now();
  // The stream's position 0 is dated so that the edge's date is the clock's.
  const auto zero = std::chrono::system_clock::now() -
                    std::chrono::milliseconds(std::llround(options.startPosition * 1000));
  bool any = false;
  for (const char* name : {"live.m3u8", "live-id3.m3u8"}) {
    auto segments = readPlaylistSegments(fileText(options.directory + "/" + name));
    if (segments.empty()) continue;
    any = true;
    serveWindow(server, std::string("/") + name,
                LiveWindow{std::move(segments), zero, options.windowSegments, "stream/"},
                origin->started_, options.startPosition);
  }
  if (!any) {
    if (why)
      *why = options.directory +
             " has no live.m3u8 or live-id3.m3u8 with segments (scripts/make-test-stream DIR "
             "makes them)";
    return nullptr;
  }
  // The files as they are; the windows name their segments here.
  server.set_mount_point("/stream", options.directory);
  LiveOrigin* self = origin.get();
  server.Get(R"(/b/.*)", [self](const httplib::Request& request, httplib::Response& response) {
    std::function<void(const std::string&)> observer;
    {
      MutexLock lock(self->mutex_);
      self->received_.push_back(request.path);
      observer = self->observer_;
    }
    if (observer) observer(request.path);
    response.status = 204;
  });
  // The server shares its port (SO_REUSEPORT): a second origin on a port in
  // use would split the requests with the first, each with its own clock.
  if (options.port != 0) {
    httplib::Client probe(options.host, options.port);
    probe.set_connection_timeout(std::chrono::seconds(1));
    if (probe.Get("/")) {
      if (why)
        *why = "port " + std::to_string(options.port) + " on " + options.host +
               " is in use by another server";
      return nullptr;
    }
  }
  origin->port_ = options.port == 0
                      ? server.bind_to_any_port(options.host)
                      : (server.bind_to_port(options.host, options.port) ? options.port : -1);
  if (origin->port_ <= 0) {
    if (why)
      *why = "cannot listen on " + options.host + ":" + std::to_string(options.port) +
             " (in use, or not an address of this machine)";
    return nullptr;
  }
  origin->thread_ = std::thread([self] { self->server_->listen_after_bind(); });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!server.is_running() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return origin;
}

LiveOrigin::~LiveOrigin() {
  if (server_) server_->stop();
  if (thread_.joinable()) thread_.join();
}

std::string LiveOrigin::base() const {
  return "http://" + options_.host + ":" + std::to_string(port_);
}

double LiveOrigin::livePosition() const { return options_.startPosition + secondsSince(started_); }

std::vector<std::string> LiveOrigin::received() const {
  MutexLock lock(mutex_);
  return received_;
}

void LiveOrigin::setBeaconObserver(std::function<void(const std::string&)> observer) {
  MutexLock lock(mutex_);
  observer_ = std::move(observer);
}

}  // namespace skylark::tool
