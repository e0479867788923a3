#include "BareBurst.h"

#include <curl/curl.h>

namespace skylark::bench {
namespace {

size_t discardBody(char*, size_t size, size_t count, void*) { return size * count; }

}  // namespace

size_t bareBurst(const std::vector<std::string>& urls, long connections) {
  CURLM* multi = curl_multi_init();
  curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, connections);
  std::vector<CURL*> idle;
  size_t next = 0, running = 0, answered = 0;
  const auto begin = [&](CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_URL, urls[next++].c_str());
    curl_multi_add_handle(multi, easy);
    ++running;
  };
  for (long i = 0; i < connections && next < urls.size(); ++i) {
    // Options other than the URL stay set as the handle is reused.
    CURL* easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &discardBody);
    begin(easy);
  }
  while (running > 0) {
    int stillRunning = 0;
    curl_multi_perform(multi, &stillRunning);
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      CURL* easy = message->easy_handle;
      if (message->data.result == CURLE_OK) ++answered;
      curl_multi_remove_handle(multi, easy);
      --running;
      if (next < urls.size()) {
        begin(easy);
      } else {
        idle.push_back(easy);
      }
    }
    if (running > 0) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
  for (CURL* easy : idle) curl_easy_cleanup(easy);
  curl_multi_cleanup(multi);
  return answered;
}

}  // namespace skylark::bench
