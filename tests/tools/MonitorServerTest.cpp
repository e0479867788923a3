// The monitor's server: which addresses it takes, what a page receives,
// and that a page which reads nothing never holds up the session.
#include "MonitorServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <httplib.h>

#include "support/ChildProcess.h"
#include "support/EventReader.h"

namespace skylark::tool {
namespace {

struct AddressCase {
  std::string text;
  bool anyInterface;
  std::optional<std::pair<std::string, int>> expected;  // host and port; nothing: refused
  std::string why;                                      // part of the reason when refused
};

TEST(MonitorAddressTest, LoopbackUnlessAnyInterfaceIsGiven) {
  const std::vector<AddressCase> cases = {
      {"8080", false, {{"127.0.0.1", 8080}}, ""},
      {"0", false, {{"127.0.0.1", 0}}, ""},
      {"localhost:0", false, {{"localhost", 0}}, ""},
      {"127.1.2.3:80", false, {{"127.1.2.3", 80}}, ""},
      {"[::1]:9000", false, {{"::1", 9000}}, ""},
      {"0.0.0.0:8080", false, std::nullopt, "--monitor-any"},
      {"192.168.1.5:80", false, std::nullopt, "not a loopback address"},
      {"[::]:80", false, std::nullopt, "--monitor-any"},
      {"example.com:80", false, std::nullopt, "--monitor-any"},
      {"0.0.0.0:8080", true, {{"0.0.0.0", 8080}}, ""},
      {"example.com:80", true, {{"example.com", 80}}, ""},
      {"70000", false, std::nullopt, "0 to 65535"},
      {"-1", false, std::nullopt, "0 to 65535"},
      {"http", false, std::nullopt, "[HOST:]PORT"},
      {"8080:", false, std::nullopt, "[HOST:]PORT"},
      {":8080", false, std::nullopt, "empty"},
  };
  for (const auto& c : cases) {
    std::string why;
    const auto address = parseMonitorAddress(c.text, c.anyInterface, &why);
    if (!c.expected) {
      EXPECT_FALSE(address) << c.text;
      EXPECT_NE(why.find(c.why), std::string::npos) << c.text << ": " << why;
      continue;
    }
    ASSERT_TRUE(address) << c.text << ": " << why;
    EXPECT_EQ(address->host, c.expected->first) << c.text;
    EXPECT_EQ(address->port, c.expected->second) << c.text;
  }
}

TEST(MonitorAddressTest, TheToolRefusesWhatTheOptionsDoNotAllowBeforeItPlays) {
  const std::string sample = std::string(SKYLARK_SOURCE_DIR) + "/samples/vod-sample.vmap.xml";
  struct Case {
    std::vector<std::string> arguments;
    std::string said;
  };
  const std::vector<Case> cases = {
      {{"play", sample, "--monitor", "0.0.0.0:0"}, "add --monitor-any"},
      {{"demo", "--quick", "--monitor", "10.1.2.3:0"}, "not a loopback address"},
      {{"play", sample, "--monitor", "99999"}, "from 0 to 65535"},
      {{"play", sample, "--monitor-any"}, "--monitor-any requires --monitor"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> argv = {SKYLARK_TOOL_PATH};
    argv.insert(argv.end(), c.arguments.begin(), c.arguments.end());
    test::ChildProcess tool(argv);
    EXPECT_EQ(tool.wait(std::chrono::seconds(30)), 2) << c.arguments.back();
    EXPECT_NE(tool.err().find(c.said), std::string::npos) << tool.err();
    EXPECT_EQ(tool.err().find("monitor: http"), std::string::npos) << "it served anyway";
  }
}

TEST(MonitorServerTest, ALatePageGetsTheStateSoFarThenEachEvent) {
  MonitorServer monitor;
  std::string why;
  ASSERT_TRUE(monitor.start({"127.0.0.1", 0}, &why)) << why;
  monitor.publish("line", R"({"n":1})");
  monitor.publishLatest("playhead", "playhead", R"({"t":1})");
  monitor.publish("line", R"({"n":2})");
  monitor.publishLatest("playhead", "playhead", R"({"t":2})");

  test::EventReader page(monitor.port());
  ASSERT_TRUE(page.waitFor("event: snapshot\n"));
  const std::string snapshot = page.text();
  EXPECT_NE(
      snapshot.find(R"(data: [{"event":"line","data":{"n":1}},{"event":"line","data":{"n":2}},)"
                    R"({"event":"playhead","data":{"t":2}}])"),
      std::string::npos)
      << snapshot;
  EXPECT_EQ(snapshot.find(R"({"t":1})"), std::string::npos) << "a superseded playhead was kept";

  monitor.publish("line", R"({"n":3})");
  ASSERT_TRUE(page.waitFor("event: line\ndata: {\"n\":3}\n\n"));
  EXPECT_EQ(monitor.droppedClients(), 0u);
}

// Connects to /events and never reads a byte of the answer.
int connectWithoutReading(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return -1;
  const std::string request = "GET /events HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
  if (write(fd, request.data(), request.size()) != static_cast<ssize_t>(request.size())) return -1;
  return fd;
}

TEST(MonitorServerTest, APageThatReadsNothingIsLetGoAndNeverHoldsUpPublishing) {
  constexpr size_t kMaxQueued = 8;
  MonitorServer monitor(kMaxQueued);
  std::string why;
  ASSERT_TRUE(monitor.start({"127.0.0.1", 0}, &why)) << why;
  const int stalled = connectWithoutReading(monitor.port());
  ASSERT_GE(stalled, 0);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (monitor.clientCount() < 1 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ASSERT_EQ(monitor.clientCount(), 1u);

  // Far more than the socket's buffers and the queue hold: a publisher
  // that waited for the page would never finish.
  const std::string line = R"({"pad":")" + std::string(16 * 1024, 'x') + "\"}";
  auto publishing = std::async(std::launch::async, [&] {
    for (int i = 0; i < 2000; ++i) monitor.publish("line", line);
  });
  ASSERT_EQ(publishing.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  EXPECT_EQ(monitor.droppedClients(), 1u);
  EXPECT_LE(monitor.deepestQueue(), kMaxQueued);
  close(stalled);
}

}  // namespace
}  // namespace skylark::tool
