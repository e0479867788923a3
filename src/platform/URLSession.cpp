#include "platform/URLSession.h"

#include "platform/ThreadAnnotations.h"

#include "platform/ASCIICase.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <curl/curl.h>
#include <fmt/format.h>

namespace skylark {
namespace {

std::optional<std::string> findHeader(const HTTPHeaderFields& fields, std::string_view name) {
  for (const auto& [key, value] : fields) {
    if (equalsIgnoringASCIICase(key, name)) return value;
  }
  return std::nullopt;
}

SKYLError urlError(int64_t code, std::string description) {
  return SKYLError(std::string(kURLErrorDomain), code, std::move(description));
}

void initializeCurl() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The scheme and authority of an absolute URL ("http://host:port"): the
// transfers that may share a connection. Two spellings of one server
// ("http://h" and "http://h:80") get two keys; libcurl's own limit per host
// still holds for them together.
std::string connectionKey(const std::string& url) {
  const size_t authority = url.find("://");
  if (authority == std::string::npos) return url;
  const size_t end = url.find_first_of("/?#", authority + 3);
  return lowercaseASCII(std::string_view(url).substr(0, end));
}

std::string_view trimmedLine(std::string_view line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.remove_suffix(1);
  return line;
}

}  // namespace

void URLRequest::addValue(std::string_view value, std::string_view forHTTPHeaderField) {
  for (auto& [key, existing] : headers) {
    if (equalsIgnoringASCIICase(key, forHTTPHeaderField)) {
      existing.append(",").append(value);
      return;
    }
  }
  headers.emplace_back(std::string(forHTTPHeaderField), std::string(value));
}

std::optional<std::string> URLRequest::valueForHTTPHeaderField(std::string_view field) const {
  return findHeader(headers, field);
}

std::optional<std::string> HTTPURLResponse::valueForHTTPHeaderField(std::string_view field) const {
  return findHeader(headerFields, field);
}

bool isTimeoutError(const SKYLError& error) {
  return error.domain == kURLErrorDomain && error.code == kURLErrorTimedOut;
}

// One transfer. Touched by the session thread only, once resumed.
struct URLSessionDataTask::State {
  State(URLRequest r, URLSession::Completion c) : request(std::move(r)), completion(std::move(c)) {}
  ~State() { release(); }

  void release() {
    if (easy) curl_easy_cleanup(easy);
    if (headerList) curl_slist_free_all(headerList);
    easy = nullptr;
    headerList = nullptr;
  }

  URLRequest request;
  URLSession::Completion completion;
  CURL* easy = nullptr;
  curl_slist* headerList = nullptr;
  std::string body;
  HTTPHeaderFields responseHeaders;
  size_t limit = 0;
  bool exceeded = false;
  bool finished = false;
  uint64_t sequence = 0;      // the order in which it was resumed
  std::string connectionKey;  // counted under this while under way
  std::atomic<bool> resumed{false};
  char errorBuffer[CURL_ERROR_SIZE] = {};
};

using TaskState = URLSessionDataTask::State;

struct URLSession::Impl : std::enable_shared_from_this<URLSession::Impl> {
  explicit Impl(Configuration c) : configuration(c), multi(curl_multi_init()) {
    // Transfers beyond this many to one host wait for a connection instead
    // of flooding the server's accept queue (a burst of beacons at a break
    // boundary would otherwise lose SYNs and stall for seconds).
    curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS,
                      static_cast<long>(configuration.maximumConnectionsPerHost));
  }
  ~Impl() {
    for (CURL* easy : idle) curl_easy_cleanup(easy);
    if (multi) curl_multi_cleanup(multi);
  }

  void start() {
    thread = std::thread([self = shared_from_this()] { self->loop(); });
  }

  // Asks the thread to stop and waits for it, unless called from it.
  void shutdown() {
    {
      MutexLock lock(mutex);
      if (stopping) return;
      stopping = true;
    }
    curl_multi_wakeup(multi);
    if (!thread.joinable()) return;
    if (std::this_thread::get_id() == thread.get_id()) {
      thread.detach();  // a completion let go of the session; the loop ends after it
    } else {
      thread.join();
    }
  }

  // Only the first of a burst wakes the thread (a system call each): the
  // rest join the lists before it takes them, or it takes them with the
  // first.
  void enqueue(std::shared_ptr<TaskState> task, bool cancel) {
    bool wake = false;
    {
      MutexLock lock(mutex);
      if (stopping) return;
      wake = toStart.empty() && toCancel.empty();
      (cancel ? toCancel : toStart).push_back(std::move(task));
    }
    if (wake) curl_multi_wakeup(multi);
  }

  void loop() {
    while (true) {
      std::vector<std::shared_ptr<TaskState>> starting;
      std::vector<std::shared_ptr<TaskState>> cancelling;
      {
        MutexLock lock(mutex);
        if (stopping) break;
        starting.swap(toStart);
        cancelling.swap(toCancel);
      }
      for (auto& task : starting) wait(std::move(task));
      for (auto& task : cancelling) cancelTask(task);
      beginWaiting();
      int stillRunning = 0;
      curl_multi_perform(multi, &stillRunning);
      int left = 0;
      bool completed = false;
      while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        const auto found = running.find(message->easy_handle);
        if (found == running.end()) continue;
        auto task = found->second;
        running.erase(found);
        curl_multi_remove_handle(multi, task->easy);
        complete(task, message->data.result);
        completed = true;
      }
      // Those waiting take the places just freed, without a sleep between.
      if (completed && waitingCount > 0) continue;
      // Sleep no longer than curl's own next timer (connection set-up and
      // retries run on those), and at most a second.
      long timeoutMs = -1;
      curl_multi_timeout(multi, &timeoutMs);
      if (timeoutMs < 0 || timeoutMs > 1000) timeoutMs = 1000;
      if (timeoutMs > 0) curl_multi_poll(multi, nullptr, 0, static_cast<int>(timeoutMs), nullptr);
    }
    for (CURL* easy : idle) curl_easy_cleanup(easy);
    idle.clear();
    // Abandon whatever is in flight: no completion runs after shutdown.
    for (auto& [easy, task] : running) {
      curl_multi_remove_handle(multi, easy);
      task->release();
    }
    running.clear();
    hosts.clear();
    waitingCount = 0;
  }

  void wait(std::shared_ptr<TaskState> task) {
    task->sequence = nextSequence++;
    task->connectionKey = connectionKey(task->request.url.absoluteString());
    hosts[task->connectionKey].waiting.push_back(std::move(task));
    ++waitingCount;
  }

  // Begins waiting transfers while there is room: at most so many at once,
  // and no more to one host than it has connections (libcurl would only
  // hold the others back, starting each over and over until a connection
  // is free; meanwhile a transfer to another host would wait behind them).
  // Of the hosts with room, the transfer resumed first goes first.
  void beginWaiting() {
    const size_t room = std::max<size_t>(1, configuration.maximumConcurrentTransfers);
    const size_t perHost =
        static_cast<size_t>(std::max(1L, configuration.maximumConnectionsPerHost));
    while (running.size() < room && waitingCount > 0) {
      auto next = hosts.end();
      for (auto host = hosts.begin(); host != hosts.end(); ++host) {
        if (host->second.waiting.empty() || host->second.underWay >= perHost) continue;
        if (next == hosts.end() ||
            host->second.waiting.front()->sequence < next->second.waiting.front()->sequence) {
          next = host;
        }
      }
      if (next == hosts.end()) return;
      const std::shared_ptr<TaskState> task = std::move(next->second.waiting.front());
      next->second.waiting.pop_front();
      --waitingCount;
      if (begin(task)) {
        ++next->second.underWay;
      } else if (next->second.underWay == 0 && next->second.waiting.empty()) {
        hosts.erase(next);
      }
    }
  }

  void finish(const std::shared_ptr<TaskState>& task, Result<URLSessionResponse> result) {
    if (task->easy) {
      // It was under way: its host has room for one more.
      const auto host = hosts.find(task->connectionKey);
      if (host != hosts.end() && --host->second.underWay == 0 && host->second.waiting.empty()) {
        hosts.erase(host);
      }
    }
    task->finished = true;
    recycle(*task);
    task->release();
    auto completion = std::move(task->completion);
    if (completion) completion(std::move(result));
  }

  void cancelTask(const std::shared_ptr<TaskState>& task) {
    if (task->finished) return;
    if (task->easy) {
      curl_multi_remove_handle(multi, task->easy);
      running.erase(task->easy);
    }
    finish(task, urlError(kURLErrorCancelled, "cancelled"));
  }

  // Whether the transfer is now under way.
  bool begin(const std::shared_ptr<TaskState>& task) {
    if (task->finished) return false;
    if (!task->request.url.isHTTPOrHTTPS()) {
      finish(task, urlError(kURLErrorUnsupportedURL, "unsupported URL"));
      return false;
    }
    CURL* easy = reusedOrNewHandle();
    if (!easy) {
      finish(task, urlError(kURLErrorUnknown, "could not create a transfer"));
      return false;
    }
    task->easy = easy;
    task->limit = configuration.maximumBodyBytes;
    const URLRequest& request = task->request;
    curl_easy_setopt(easy, CURLOPT_URL, request.url.absoluteString().c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, configuration.maximumRedirects);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    const long timeout = static_cast<long>(request.timeoutInterval.count());
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeout);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                     std::min(timeout, static_cast<long>(configuration.connectTimeout.count())));
    curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                     static_cast<curl_off_t>(configuration.maximumBodyBytes));
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, task->errorBuffer);
    if (request.httpMethod == "GET") {
      curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    } else {
      if (request.httpMethod != "POST") {
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.httpMethod.c_str());
      }
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(request.httpBody.size()));
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.httpBody.data());
    }
    for (const auto& [name, value] : request.headers) {
      task->headerList = curl_slist_append(task->headerList, (name + ": " + value).c_str());
    }
    task->headerList = curl_slist_append(task->headerList, "Expect:");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, task->headerList);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Impl::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, task.get());
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Impl::onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, task.get());
    running[easy] = task;
    curl_multi_add_handle(multi, easy);
    return true;
  }

  // A finished transfer's handle, reset, serves the next one: making and
  // freeing one for each beacon was a seventh of this thread's work in a
  // burst. No more are kept than can run at once.
  CURL* reusedOrNewHandle() {
    if (idle.empty()) return curl_easy_init();
    CURL* easy = idle.back();
    idle.pop_back();
    curl_easy_reset(easy);
    return easy;
  }
  void recycle(TaskState& task) {
    if (!task.easy || idle.size() >= configuration.maximumConcurrentTransfers) return;
    idle.push_back(std::exchange(task.easy, nullptr));
  }

  void complete(const std::shared_ptr<TaskState>& task, CURLcode code) {
    if (code != CURLE_OK) {
      finish(task, errorFor(*task, code));
      return;
    }
    long status = 0;
    char* effective = nullptr;
    curl_easy_getinfo(task->easy, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(task->easy, CURLINFO_EFFECTIVE_URL, &effective);
    // The request's own URL when nothing redirected it (no parse again).
    const bool redirected = effective && task->request.url.absoluteString() != effective;
    auto responseURL = redirected ? URL::parse(effective) : std::nullopt;
    URLSessionResponse response{std::move(task->body),
                                HTTPURLResponse{responseURL.value_or(task->request.url), status,
                                                std::move(task->responseHeaders)}};
    finish(task, std::move(response));
  }

  // The redirect target's scheme when curl refused to follow a redirect.
  static std::optional<std::string> refusedRedirectScheme(const TaskState& task) {
    long redirects = 0;
    curl_easy_getinfo(task.easy, CURLINFO_REDIRECT_COUNT, &redirects);
    char* effective = nullptr;
    curl_easy_getinfo(task.easy, CURLINFO_EFFECTIVE_URL, &effective);
    const auto url = effective ? URL::parse(effective) : std::nullopt;
    if (redirects == 0 || !url || url->isHTTPOrHTTPS()) return std::nullopt;
    return url->scheme();
  }

  SKYLError errorFor(const TaskState& task, CURLcode code) const {
    const std::string detail = task.errorBuffer[0] ? task.errorBuffer : curl_easy_strerror(code);
    switch (code) {
      case CURLE_OPERATION_TIMEDOUT: {
        // Either the whole request's time-out or the shorter one of opening
        // the connection (a TLS handshake nobody answers, say).
        curl_off_t elapsedMicroseconds = 0;
        curl_easy_getinfo(task.easy, CURLINFO_TOTAL_TIME_T, &elapsedMicroseconds);
        if (elapsedMicroseconds / 1000 < task.request.timeoutInterval.count()) {
          return urlError(kURLErrorTimedOut,
                          fmt::format("timed out after {:g} s opening the connection",
                                      configuration.connectTimeout.count() / 1000.0));
        }
        return urlError(
            kURLErrorTimedOut,
            fmt::format("timed out after {:g} s", task.request.timeoutInterval.count() / 1000.0));
      }
      case CURLE_COULDNT_CONNECT:
        return urlError(kURLErrorCannotConnectToHost, "Could not connect to the server. " + detail);
      case CURLE_COULDNT_RESOLVE_HOST:
        return urlError(kURLErrorCannotFindHost,
                        "A server with the specified hostname could not "
                        "be found. " +
                            detail);
      case CURLE_UNSUPPORTED_PROTOCOL:
        if (const auto scheme = refusedRedirectScheme(task)) {
          return urlError(kURLErrorUnsupportedURL, "HTTP redirect to " + *scheme + ":// refused");
        }
        return urlError(kURLErrorUnsupportedURL, "unsupported URL. " + detail);
      case CURLE_TOO_MANY_REDIRECTS:
        return urlError(kURLErrorHTTPTooManyRedirects, "too many HTTP redirects. " + detail);
      case CURLE_FILESIZE_EXCEEDED:
        return urlError(kURLErrorDataLengthExceedsMaximum, "resource exceeds maximum size");
      case CURLE_WRITE_ERROR:
        if (task.exceeded) {
          return urlError(kURLErrorDataLengthExceedsMaximum, "resource exceeds maximum size");
        }
        return urlError(kURLErrorUnknown, detail);
      case CURLE_GOT_NOTHING:
      case CURLE_RECV_ERROR:
      case CURLE_SEND_ERROR:
      case CURLE_PARTIAL_FILE:
        return urlError(kURLErrorNetworkConnectionLost,
                        "The network connection was lost. " + detail);
      default:
        return urlError(kURLErrorUnknown, detail);
    }
  }

  static size_t onBody(char* data, size_t size, size_t count, void* user) {
    auto* task = static_cast<TaskState*>(user);
    const size_t bytes = size * count;
    if (task->body.size() + bytes > task->limit) {
      task->exceeded = true;
      return 0;  // ends the transfer with CURLE_WRITE_ERROR
    }
    if (task->body.empty()) reserveAnnouncedLength(*task);
    task->body.append(data, bytes);
    return bytes;
  }

  // Room for the whole body at once, when the response says how long it
  // is: a document of megabytes is then copied once, not at every doubling
  // of its buffer, and its buffer is no larger than itself.
  static void reserveAnnouncedLength(TaskState& task) {
    curl_off_t length = -1;
    if (curl_easy_getinfo(task.easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) != CURLE_OK) {
      return;
    }
    if (length > 0 && static_cast<size_t>(length) <= task.limit) {
      task.body.reserve(static_cast<size_t>(length));
    }
  }

  static size_t onHeader(char* data, size_t size, size_t count, void* user) {
    auto* task = static_cast<TaskState*>(user);
    const size_t bytes = size * count;
    const std::string_view line = trimmedLine(std::string_view(data, bytes));
    if (line.rfind("HTTP/", 0) == 0) {
      task->responseHeaders.clear();  // a new response (after a redirect)
    } else if (const size_t colon = line.find(':'); colon != std::string_view::npos) {
      std::string_view value = line.substr(colon + 1);
      while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) {
        value.remove_prefix(1);
      }
      task->responseHeaders.emplace_back(std::string(line.substr(0, colon)), std::string(value));
    }
    return bytes;
  }

  const Configuration configuration;
  CURLM* multi;
  std::thread thread;
  std::atomic<uint64_t> nextIdentifier{1};

  Mutex mutex;
  bool stopping SKYL_GUARDED_BY(mutex) = false;
  std::vector<std::shared_ptr<TaskState>> toStart SKYL_GUARDED_BY(mutex);
  std::vector<std::shared_ptr<TaskState>> toCancel SKYL_GUARDED_BY(mutex);
  // Session thread only.
  // Per connection key: transfers resumed, not yet begun, in order; and
  // how many are under way. A host is kept while it has either.
  struct Host {
    std::deque<std::shared_ptr<TaskState>> waiting;
    size_t underWay = 0;
  };
  std::map<std::string, Host> hosts;
  size_t waitingCount = 0;
  uint64_t nextSequence = 0;
  std::map<CURL*, std::shared_ptr<TaskState>> running;
  std::vector<CURL*> idle;  // handles of finished transfers, for the next
};

std::shared_ptr<URLSession> URLSession::create(Configuration configuration) {
  initializeCurl();
  auto impl = std::make_shared<Impl>(configuration);
  impl->start();
  return std::shared_ptr<URLSession>(new URLSession(std::move(impl)));
}

URLSession::~URLSession() { impl_->shutdown(); }

void URLSession::invalidateAndCancel() { impl_->shutdown(); }

std::shared_ptr<URLSessionDataTask> URLSession::dataTask(URLRequest request,
                                                         Completion completion) {
  auto state = std::make_shared<TaskState>(std::move(request), std::move(completion));
  return std::make_shared<URLSessionDataTask>(impl_, std::move(state), impl_->nextIdentifier++);
}

void URLSessionDataTask::resume() {
  if (state_->resumed.exchange(true)) return;
  if (auto session = session_.lock()) session->enqueue(state_, /*cancel=*/false);
}

void URLSessionDataTask::cancel() {
  if (auto session = session_.lock()) session->enqueue(state_, /*cancel=*/true);
}

namespace {

// Never destroyed: work on other threads may still hold it at exit.
struct SharedSession {
  Mutex mutex;
  std::shared_ptr<URLSession> session SKYL_GUARDED_BY(mutex);
};
SharedSession& sharedSession() {
  static auto* shared = new SharedSession;
  return *shared;
}

}  // namespace

std::shared_ptr<URLSession> URLSession::shared() {
  auto& shared = sharedSession();
  MutexLock lock(shared.mutex);
  if (!shared.session) shared.session = create();
  return shared.session;
}

void URLSession::invalidateShared() {
  std::shared_ptr<URLSession> session;
  {
    auto& shared = sharedSession();
    MutexLock lock(shared.mutex);
    session = shared.session;
  }
  if (session) session->invalidateAndCancel();
}

}  // namespace skylark
