#pragma once

#include <memory>
#include <optional>

#include "host/SKYLAd.h"
#include "host/SKYLPlaybackSession.h"
#include "host/SKYLView.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A tap on an ad's click-through, on its way from the view that was tapped
// to the display container. Immutable; made only with all four values.
class SKYLVUXAdClickThrough {
 public:
  SKYLVUXAdClickThrough() = delete;
  static std::shared_ptr<const SKYLVUXAdClickThrough> initWithAd(
      std::shared_ptr<SKYLAd> ad, std::shared_ptr<SKYLPlaybackSession> session,
      std::optional<URL> clickThroughURL, std::shared_ptr<SKYLView> fromView) {
    return std::shared_ptr<const SKYLVUXAdClickThrough>(new SKYLVUXAdClickThrough(
        std::move(ad), std::move(session), std::move(clickThroughURL), std::move(fromView)));
  }

  const std::shared_ptr<SKYLAd>& ad() const { return ad_; }
  const std::shared_ptr<SKYLPlaybackSession>& session() const { return session_; }
  const std::optional<URL>& clickThroughURL() const { return clickThroughURL_; }
  const std::shared_ptr<SKYLView>& sender() const { return sender_; }

 private:
  SKYLVUXAdClickThrough(std::shared_ptr<SKYLAd> ad, std::shared_ptr<SKYLPlaybackSession> session,
                        std::optional<URL> url, std::shared_ptr<SKYLView> sender)
      : ad_(std::move(ad)),
        session_(std::move(session)),
        clickThroughURL_(std::move(url)),
        sender_(std::move(sender)) {}

  std::shared_ptr<SKYLAd> ad_;
  std::shared_ptr<SKYLPlaybackSession> session_;
  std::optional<URL> clickThroughURL_;
  std::shared_ptr<SKYLView> sender_;
};

}  // namespace skylark
