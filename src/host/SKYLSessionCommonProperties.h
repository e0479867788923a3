#pragma once

#include <functional>
#include <memory>

#include "host/SKYLSource.h"
#include "host/SKYLVideo.h"
#include "host/SKYLView.h"
#include "platform/Observable.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The platform's picture-in-picture controller, as far as a session
// touches it.
class PictureInPictureController {
 public:
  bool requiresLinearPlayback() const { return requiresLinearPlayback_; }
  void setRequiresLinearPlayback(bool required) { requiresLinearPlayback_ = required; }

 private:
  bool requiresLinearPlayback_ = false;
};

// Settings the host shares with every session of a playback controller.
// Main queue only.
class SKYLSessionCommonProperties {
 public:
  // Picks the source to play among a video's; nothing for none.
  using SourceSelectionPolicy = std::function<std::shared_ptr<SKYLSource>(const SKYLVideo&)>;

  SourceSelectionPolicy sourceSelectionPolicy;
  bool generateInterstitialTimeRanges = false;
  bool thumbnailSeekingEnabled = false;
  bool adsDisabled = false;
  float playbackRate = 1.0f;
  Observable<std::shared_ptr<PictureInPictureController>> pictureInPictureController;
  // The player's view; its content container is what viewability measures.
  std::shared_ptr<SKYLView> tvPlayerView;
};

}  // namespace skylark
