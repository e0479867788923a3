#include "platform/URLSession.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>

#include "support/LoopbackServer.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;
using test::LoopbackServer;

// Runs one request to completion.
Result<URLSessionResponse> fetch(URLSession& session, URLRequest request) {
  std::promise<Result<URLSessionResponse>> done;
  auto future = done.get_future();
  session
      .dataTask(std::move(request),
                [&done](Result<URLSessionResponse> result) { done.set_value(std::move(result)); })
      ->resume();
  if (future.wait_for(10s) != std::future_status::ready) {
    return SKYLError("test", 0, "no completion within 10 s");
  }
  return future.get();
}

URLRequest request(const std::string& url) { return URLRequest(*URL::parse(url)); }

TEST(URLSessionTest, SendsMethodBodyAndAddedHeaders) {
  LoopbackServer server([](httplib::Server& s) {
    s.Post("/echo", [](const httplib::Request& r, httplib::Response& response) {
      response.set_header("X-Reply", "yes");
      response.set_content("got:" + r.body, "text/plain");
    });
  });
  auto session = URLSession::create();
  URLRequest post = request(server.url("/echo?a=1"));
  post.httpMethod = "POST";
  post.httpBody = "{\"k\":1}";
  post.addValue("application/json", "Content-Type");
  post.addValue("first", "X-List");
  post.addValue("second", "x-list");
  const auto result = fetch(*session, post);
  ASSERT_TRUE(result.ok()) << result.error().description();
  EXPECT_EQ(result->data, "got:{\"k\":1}");
  EXPECT_EQ(result->response.statusCode, 200);
  EXPECT_EQ(result->response.valueForHTTPHeaderField("x-reply"), "yes");
  ASSERT_TRUE(server.waitForRequests(1, 5s));
  const auto recorded = server.requests().at(0);
  EXPECT_EQ(recorded.method, "POST");
  EXPECT_EQ(recorded.path, "/echo?a=1");
  EXPECT_EQ(recorded.header("X-List"), "first,second");
  EXPECT_EQ(recorded.header("Content-Type"), "application/json");
}

TEST(URLSessionTest, ATransferCarriesNothingOfTheOneBeforeIt) {
  // One transfer at a time: each reuses the handle of the one before.
  LoopbackServer server([](httplib::Server& s) {
    const auto echo = [](const httplib::Request& r, httplib::Response& response) {
      response.set_content(r.method + ":" + r.body, "text/plain");
    };
    s.Post("/echo", echo);
    s.Get("/echo", echo);
    s.Put("/echo", echo);
  });
  URLSession::Configuration configuration;
  configuration.maximumConcurrentTransfers = 1;
  auto session = URLSession::create(configuration);
  URLRequest post = request(server.url("/echo"));
  post.httpMethod = "POST";
  post.httpBody = "body";
  post.addValue("one", "X-Only-Once");
  URLRequest put = post;
  put.httpMethod = "PUT";
  struct Case {
    URLRequest request;
    std::string answer;
  };
  const Case cases[] = {
      {post, "POST:body"},
      {request(server.url("/echo")), "GET:"},
      {put, "PUT:body"},
      {request(server.url("/echo")), "GET:"},
      {request(server.url("/redirect?to=/echo")), "GET:"},
  };
  for (const auto& c : cases) {
    const auto result = fetch(*session, c.request);
    ASSERT_TRUE(result.ok()) << c.answer << ": " << result.error().description();
    EXPECT_EQ(result->data, c.answer);
  }
  ASSERT_TRUE(server.waitForRequests(6, 5s));
  // Only the POST and the PUT sent the header. (The server may log two
  // requests out of order: each is logged after its answer has left.)
  for (const auto& recorded : server.requests()) {
    const bool sentIt = recorded.method == "POST" || recorded.method == "PUT";
    EXPECT_EQ(recorded.header("X-Only-Once"), sentIt ? "one" : "") << recorded.method;
  }
}

TEST(URLSessionTest, AnyHTTPStatusIsAResponseAndRedirectsAreFollowed) {
  LoopbackServer server;
  auto session = URLSession::create();
  const auto notFound = fetch(*session, request(server.url("/status/404")));
  ASSERT_TRUE(notFound.ok());
  EXPECT_EQ(notFound->response.statusCode, 404);

  const auto tenHops = fetch(*session, request(server.url("/redirects/10")));
  ASSERT_TRUE(tenHops.ok()) << tenHops.error().description();
  EXPECT_EQ(tenHops->data, "end");
  EXPECT_EQ(tenHops->response.url.absoluteString(), server.url("/redirects/0"));
}

TEST(URLSessionTest, BodiesArriveWholeInABufferNoLargerThanThemWhenTheirLengthIsAnnounced) {
  // Without a length (chunked), the body arrives in pieces of any size.
  LoopbackServer server([](httplib::Server& s) {
    s.Get(R"(/chunked/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
      const size_t size = std::stoul(request.matches[1]);
      response.set_chunked_content_provider(
          "application/octet-stream", [size](size_t offset, httplib::DataSink& sink) {
            const size_t piece = std::min<size_t>(size - offset, 7000);
            if (piece > 0) sink.write(std::string(piece, 'x').data(), piece);
            if (offset + piece == size) sink.done();
            return true;
          });
    });
  });
  struct Case {
    std::string path;
    size_t size;
    bool announced;
  };
  const Case cases[] = {
      {"/bytes/100", 100, true},          {"/bytes/16385", 16385, true},
      {"/bytes/3000001", 3000001, true},  {"/redirect?to=/bytes/70000", 70000, true},
      {"/chunked/100000", 100000, false},
  };
  auto session = URLSession::create();
  for (const auto& c : cases) {
    const auto result = fetch(*session, request(server.url(c.path)));
    ASSERT_TRUE(result.ok()) << c.path << ": " << result.error().description();
    EXPECT_EQ(result->data, std::string(c.size, 'x')) << c.path;
    if (c.announced) {
      EXPECT_EQ(result->data.capacity(), c.size) << c.path;
    }
  }
}

TEST(URLSessionTest, TransportErrors) {
  LoopbackServer server;
  int closedPort = 0;
  {
    LoopbackServer gone;
    closedPort = gone.port();
  }
  auto session = URLSession::create(URLSession::Configuration{1000, 10, 6});
  struct Case {
    std::string name;
    URLRequest request;
    int64_t code;
  };
  URLRequest slow = request(server.url("/delay/3000"));
  slow.timeoutInterval = 200ms;
  const Case cases[] = {
      {"refused", request("http://127.0.0.1:" + std::to_string(closedPort) + "/"),
       kURLErrorCannotConnectToHost},
      {"time-out", slow, kURLErrorTimedOut},
      {"body too large", request(server.url("/bytes/5000")), kURLErrorDataLengthExceedsMaximum},
      {"file", request("file:///etc/hostname"), kURLErrorUnsupportedURL},
      {"gopher", request("gopher://127.0.0.1:70/1"), kURLErrorUnsupportedURL},
      {"redirect to file", request(server.url("/redirect?to=file:///etc/hostname")),
       kURLErrorUnsupportedURL},
      {"eleven redirects", request(server.url("/redirects/11")), kURLErrorHTTPTooManyRedirects},
  };
  for (const auto& c : cases) {
    const auto result = fetch(*session, c.request);
    ASSERT_FALSE(result.ok()) << c.name;
    EXPECT_EQ(result.error().domain, "NSURLErrorDomain") << c.name;
    EXPECT_EQ(result.error().code, c.code) << c.name << ": " << result.error().description();
    EXPECT_EQ(isTimeoutError(result.error()), c.code == kURLErrorTimedOut) << c.name;
  }
  EXPECT_TRUE(fetch(*session, request(server.url("/bytes/1000"))).ok());
}

// A port on 127.0.0.1 that takes connections (the kernel completes them)
// and never says a word.
class SilentPort {
 public:
  SilentPort() : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(fd_, 8) != 0 ||
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      ADD_FAILURE() << "no silent port";
    }
    port_ = ntohs(address.sin_port);
  }
  ~SilentPort() { ::close(fd_); }
  int port() const { return port_; }

 private:
  int fd_;
  int port_ = 0;
};

// A TLS handshake nobody answers (a plain-HTTP server waiting for a request
// line, say) ends at the connect time-out, not the request's.
TEST(URLSessionTest, ATLSHandshakeNobodyAnswersEndsAtTheConnectTimeout) {
  SilentPort silent;
  URLSession::Configuration configuration;
  configuration.connectTimeout = 200ms;
  auto session = URLSession::create(configuration);
  URLRequest tls = request("https://127.0.0.1:" + std::to_string(silent.port()) + "/");
  tls.timeoutInterval = 60s;
  const auto result = fetch(*session, tls);
  ASSERT_FALSE(result.ok());
  EXPECT_EQ(result.error().code, kURLErrorTimedOut) << result.error().description();
  EXPECT_EQ(result.error().localizedDescription, "timed out after 0.2 s opening the connection");
}

TEST(URLSessionTest, CancelCompletesWithCancelled) {
  LoopbackServer server;
  auto session = URLSession::create();
  std::promise<int64_t> done;
  auto task = session->dataTask(request(server.url("/delay/2000")),
                                [&done](Result<URLSessionResponse> result) {
                                  done.set_value(result.ok() ? 0 : result.error().code);
                                });
  task->resume();
  task->cancel();
  auto future = done.get_future();
  ASSERT_EQ(future.wait_for(5s), std::future_status::ready);
  EXPECT_EQ(future.get(), kURLErrorCancelled);
}

// A burst larger than the transfers allowed at once: never more than that
// many reach the server together, every one completes, and one cancelled
// while it waits completes as cancelled without being sent.
TEST(URLSessionTest, ABurstWaitsItsTurnAndEveryTransferCompletes) {
  std::atomic<int> inFlight{0}, most{0};
  LoopbackServer server([&](httplib::Server& s) {
    s.Get("/slow", [&](const httplib::Request&, httplib::Response& response) {
      const int now = ++inFlight;
      for (int seen = most.load(); now > seen && !most.compare_exchange_weak(seen, now);) {
      }
      std::this_thread::sleep_for(20ms);
      --inFlight;
      response.status = 204;
    });
  });
  URLSession::Configuration configuration;
  configuration.maximumConcurrentTransfers = 3;
  auto session = URLSession::create(configuration);
  constexpr int kBurst = 40;
  std::atomic<int> answered{0}, cancelled{0};
  std::promise<void> allDone;
  auto finished = [&] {
    if (answered + cancelled == kBurst) allDone.set_value();
  };
  std::vector<std::shared_ptr<URLSessionDataTask>> tasks;
  for (int i = 0; i < kBurst; ++i) {
    tasks.push_back(
        session->dataTask(request(server.url("/slow")), [&](Result<URLSessionResponse> result) {
          ++(result.ok() && result->response.statusCode == 204 ? answered : cancelled);
          finished();
        }));
    tasks.back()->resume();
  }
  tasks.back()->cancel();
  ASSERT_EQ(allDone.get_future().wait_for(10s), std::future_status::ready);
  EXPECT_EQ(answered.load(), kBurst - 1);
  EXPECT_EQ(cancelled.load(), 1);
  EXPECT_LE(most.load(), 3);
  // The server records a request after answering it: wait for the last.
  EXPECT_TRUE(server.waitForRequests(kBurst - 1, 5s));
  EXPECT_EQ(server.requests().size(), static_cast<size_t>(kBurst - 1));
}

// A burst to one host holds at most its connections; a transfer to
// another host starts at once, not behind the burst.
TEST(URLSessionTest, AHostsBurstKeepsToItsConnectionsAndHoldsNoOtherHostBack) {
  std::promise<void> release;
  const std::shared_future<void> released = release.get_future().share();
  std::atomic<int> inFlight{0}, most{0};
  LoopbackServer busy([&](httplib::Server& s) {
    s.Get("/held", [&](const httplib::Request&, httplib::Response& response) {
      const int now = ++inFlight;
      for (int seen = most.load(); now > seen && !most.compare_exchange_weak(seen, now);) {
      }
      released.wait_for(10s);
      --inFlight;
      response.status = 204;
    });
  });
  LoopbackServer other;
  URLSession::Configuration configuration;
  configuration.maximumConnectionsPerHost = 2;
  configuration.maximumConcurrentTransfers = 4;
  auto session = URLSession::create(configuration);
  constexpr int kBurst = 10;
  std::atomic<int> answered{0};
  std::promise<void> burstDone;
  for (int i = 0; i < kBurst; ++i) {
    session
        ->dataTask(
            request(busy.url("/held")),
            [&](Result<URLSessionResponse> result) {
              if (result.ok() && result->response.statusCode == 204 && ++answered == kBurst) {
                burstDone.set_value();
              }
            })
        ->resume();
  }
  const auto alone = fetch(*session, request(other.url("/status/200")));
  ASSERT_TRUE(alone.ok()) << alone.error().description();
  EXPECT_EQ(alone->response.statusCode, 200);
  EXPECT_EQ(answered.load(), 0);
  release.set_value();
  ASSERT_EQ(burstDone.get_future().wait_for(10s), std::future_status::ready);
  EXPECT_LE(most.load(), 2);
}

TEST(URLSessionTest, ShutdownAbandonsTasksInFlightWithoutWaiting) {
  LoopbackServer server;
  std::atomic<int> completions{0};
  auto session = URLSession::create();
  for (int i = 0; i < 3; ++i) {
    session
        ->dataTask(request(server.url("/delay/1500")),
                   [&completions](Result<URLSessionResponse>) { ++completions; })
        ->resume();
  }
  const auto suspended =
      session->dataTask(request(server.url("/status/200")), [&](auto) { ++completions; });
  const auto start = std::chrono::steady_clock::now();
  session.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
  suspended->resume();  // its session is gone: nothing happens
  EXPECT_EQ(completions.load(), 0);
}

}  // namespace
}  // namespace skylark
