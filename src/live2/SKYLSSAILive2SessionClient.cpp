#include "live2/SKYLSSAILive2SessionClient.h"

#include <chrono>

#include "live2/SKYLSSAILive2HTTP.h"

namespace skylark {

std::shared_ptr<URLSessionDataTask> SKYLSSAILive2SessionClient::start(
    const URL& url, const std::map<std::string, std::string>& adsParams,
    Completion completion) const {
  URLRequest request(url);
  request.httpMethod = "POST";
  request.timeoutInterval = std::chrono::milliseconds(static_cast<int64_t>(timeout_ * 1000));
  request.addValue("application/json", "Content-Type");
  request.addValue("application/json", "Accept");
  auto body = SKYLSSAILive2SessionRequest{adsParams}.encode();
  if (!body.ok()) {
    completion(std::move(body.error()));  // nothing is sent
    return nullptr;
  }
  request.httpBody = std::move(body.value());

  auto task = session_->dataTask(std::move(request), [url, completion = std::move(completion)](
                                                         Result<URLSessionResponse> result) {
    if (!result.ok()) {
      completion(SKYLSSAILive2TransportError(result.error(), "Session init failed"));
      return;
    }
    if (auto error = SKYLSSAILive2CheckHTTPResponse(result->response, "Session init",
                                                    SKYLSSAILive2ErrorCode::SESSION_ERROR)) {
      completion(std::move(*error));
      return;
    }
    if (result->data.empty()) {
      completion(
          SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::PARSE_ERROR, "Session response was empty"));
      return;
    }
    auto info = SKYLSSAILive2SessionInfo::decode(result->data);
    if (!info.ok()) {
      SKYLSSAILive2Error error(SKYLSSAILive2ErrorCode::PARSE_ERROR,
                               "Failed to parse session response");
      error.underlying = info.error().toError();
      completion(std::move(error));
      return;
    }
    completion(SKYLSSAILive2SessionURLs::resolve(info.value(), url));
  });
  task->resume();
  return task;
}

}  // namespace skylark
