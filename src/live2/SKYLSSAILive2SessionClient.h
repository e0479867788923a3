#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "live2/SKYLSSAILive2Session.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Opens a live session: one JSON POST to the source URL, whose answer
// names the manifest and tracking URLs. The completion runs once, on the
// URL session's thread.
class SKYLSSAILive2SessionClient {
 public:
  using Completion =
      std::function<void(Result<SKYLSSAILive2SessionURLs, SKYLSSAILive2Error> result)>;

  explicit SKYLSSAILive2SessionClient(std::shared_ptr<URLSession> session = URLSession::shared(),
                                      double timeout = 10.0)
      : session_(std::move(session)), timeout_(timeout) {}

  std::shared_ptr<URLSessionDataTask> start(const URL& url,
                                            const std::map<std::string, std::string>& adsParams,
                                            Completion completion) const;

 private:
  std::shared_ptr<URLSession> session_;
  double timeout_;
};

}  // namespace skylark
