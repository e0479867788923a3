#include "TestStream.h"

#include <fstream>
#include <sstream>

#include <httplib.h>

namespace skylark::test {
namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

}  // namespace

TestStream::TestStream()
    : server_(std::make_unique<LoopbackServer>([](httplib::Server& server) {
        server.set_mount_point("/stream", SKYLARK_TEST_STREAM_DIR);
        server.Get(R"(/b/.*)", [](const httplib::Request&, httplib::Response& response) {
          response.status = 204;
        });
      })) {}

std::string TestStream::vmap() const {
  std::ifstream file(std::string(SKYLARK_TEST_STREAM_DIR) + "/vmap.xml");
  std::stringstream text;
  text << file.rdbuf();
  // The script's defaults, made to point here.
  std::string document =
      replaced(text.str(), "file://" + std::string(SKYLARK_TEST_STREAM_DIR) + "/vod.m3u8",
               vod().absoluteString());
  return replaced(document, "http://127.0.0.1:9/b", server_->url("/b"));
}

}  // namespace skylark::test

// GLib and GStreamer keep process-lifetime allocations (type registry,
// plug-in caches, thread pools) that LeakSanitizer reports at exit; only
// this program, which loads them, ignores those.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libglib-2.0.so\nleak:libgobject-2.0.so\nleak:libgstreamer-1.0.so\n";
}
