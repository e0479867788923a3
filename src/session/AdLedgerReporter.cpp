#include "session/AdLedgerReporter.h"

#include <cmath>

#include "host/SKYLHostConstants.h"
#include "timeline/SKYLSSAIConstants.h"
#include "timeline/SKYLVelaAd.h"

namespace skylark {
namespace {

std::string key(std::string_view name) { return std::string(name); }

int64_t wholeSeconds(const MediaTime& t) {
  const double s = t.seconds();
  return std::isfinite(s) ? static_cast<int64_t>(s) : 0;
}

}  // namespace

AdLedgerReporter::AdLedgerReporter(std::shared_ptr<const SessionEnvironment> environment,
                                   SKYLPlaybackSession& playback)
    : environment_(std::move(environment)), playback_(playback) {}

void AdLedgerReporter::breakStarted(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  currentBreak_ = sequence;
  adIndex_ = 0;
  adAudibleDuration_ = 0;
  playedSeconds_ = 0;
  report(kPodStart);
}

void AdLedgerReporter::breakEnded(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  report(kPodEnd);
  // A video whose duration nobody set ends at 0 s: every break after the
  // first second is then reported as not where the video ends.
  const auto video = playback_.video();
  const int64_t videoSeconds =
      video && video->durationMilliseconds() ? *video->durationMilliseconds() / 1000 : 0;
  if (sequence) {
    const int64_t begin = wholeSeconds(sequence->beginTime());
    if (begin != 0 && begin != videoSeconds) report(kPodOffsetMismatch);
  }
  ++podIndex_;
  currentBreak_ = nullptr;
}

void AdLedgerReporter::adStarted(std::shared_ptr<SKYLAd> ad) {
  currentAd_ = std::move(ad);
  playedSeconds_ = 0;
  skipped_ = false;
  report(kAdStart);
  viewableImpressionReported_ = false;
  adViewableSeconds_ = 0;
  adTimer_ = environment_->clock->repeat(SessionClock::processQueue(environment_->mainQueue), 1.0,
                                         [this] { adTimerTick(); });
}

void AdLedgerReporter::adEnded(double playedSeconds, bool skipped) {
  playedSeconds_ = playedSeconds;
  skipped_ = skipped;
  report(kAdEnd);
  ++adIndex_;
  adTimer_.reset();
  currentAd_.reset();
}

void AdLedgerReporter::adTimerTick() {
  constexpr double kInterval = 1.0;
  const auto player = playback_.player();
  if (player && player->volume() >= 0.01f && player->rate() != 0) adAudibleDuration_ += kInterval;
  if (viewableImpressionReported_) return;
  const auto properties = commonProperties_.lock();
  const SKYLView* view = properties ? properties->tvPlayerView.get() : nullptr;
  if (environment_->adLedgerManager.visiblePercentageForView(view) >= 0.5) {
    adViewableSeconds_ += kInterval;
  }
  if (adViewableSeconds_ == kSKYLAdLedgerAdViewableSeconds) {
    report(kViewableImpression);
    viewableImpressionReported_ = true;
  }
}

void AdLedgerReporter::report(Code code) {
  environment_->adLedgerManager.processEvent(code, parametersFor(code));
}

SKYLAdLedgerManager::Parameters AdLedgerReporter::parametersFor(Code code) const {
  SKYLAdLedgerManager::Parameters parameters;
  const double begin = currentBreak_ ? currentBreak_->beginTime().seconds() : 0;
  const double end = currentBreak_ ? currentBreak_->endTime().seconds() : 0;
  const auto item = playback_.currentPlayerItem();
  const double duration = item ? item->duration().seconds() : 0;
  auto whole = [](double s) { return std::isfinite(s) ? static_cast<int64_t>(s) : INT64_MIN; };
  std::string_view podType = kSKYLAdLedgerOptionAdPodTypeMidroll;
  if (begin == 0.0) {
    podType = kSKYLAdLedgerOptionAdPodTypePreroll;
  } else if (whole(duration) == whole(end)) {
    podType = kSKYLAdLedgerOptionAdPodTypePostroll;
  }
  const bool postRoll = podType == kSKYLAdLedgerOptionAdPodTypePostroll;
  if (!live_) {
    parameters[key(kSKYLAdLedgerParameterPodIndexKey)] = postRoll ? int64_t{-1} : podIndex_;
  }
  if (code == kPodStart || code == kPodEnd) {
    parameters[key(kSKYLAdLedgerParameterPodAdCountKey)] =
        static_cast<int64_t>(currentBreak_ ? currentBreak_->ads().size() : 0);
    parameters[key(kSKYLAdLedgerParameterPodDurationKey)] =
        currentBreak_ ? currentBreak_->duration().seconds() : 0.0;
    parameters[key(kSKYLAdLedgerParameterPodHost)] = std::string("ssai");
    parameters[key(kSKYLAdLedgerParameterPodTypeKey)] = std::string(podType);
    parameters[key(kSKYLAdLedgerParameterPodRequestMSKey)] = int64_t{0};
    parameters[key(kSKYLAdLedgerParameterPodRequestModeKey)] =
        std::string(kSKYLAdLedgerOptionAdPodRequestModeOnLoad);
    parameters[key(kSKYLAdLedgerParameterPodTimeOffsetKey)] = begin;
  }
  if (code == kAdStart || code == kAdEnd || code == 4 || code == kViewableImpression) {
    parameters[key(kSKYLAdLedgerParameterAdIndexKey)] = adIndex_;
    const auto* velaAd = currentAd_ ? currentAd_->property<std::shared_ptr<const SKYLVelaAd>>(
                                          kSKYLSSAIAdPropertiesKeyVelaAd)
                                    : nullptr;
    parameters[key(kSKYLAdLedgerParameterAdDurationKey)] =
        velaAd && *velaAd ? (*velaAd)->duration().seconds() : 0.0;
    if (currentAd_) {
      const auto* skippable = currentAd_->property<int64_t>(kSKYLAdPropertyKeySkippable);
      const auto* skipTime = currentAd_->property<float>(kSKYLAdPropertyKeySkipTime);
      if (skippable && *skippable == 1 && skipTime) {
        parameters[key(kSKYLAdLedgerParameterAdSkipTimeOffsetKey)] = *skipTime;
      }
      parameters[key(kSKYLAdLedgerParameterAdTitleKey)] = currentAd_->title;
      parameters[key(kSKYLAdLedgerParameterAdCreativeIDKey)] = currentAd_->adId;
    }
  }
  if (code == kAdEnd) {
    parameters[key(kSKYLAdLedgerParameterAdAudibleDurationKey)] = adAudibleDuration_;
    parameters[key(kSKYLAdLedgerParameterAdPlayDuration)] = playedSeconds_;
    parameters[key(kSKYLAdLedgerParameterAdSkippedKey)] = skipped_;
    parameters[key(kSKYLAdLedgerParameterAdInteractionKey)] =
        currentAd_ && currentAd_->userDidInteract;
  }
  return parameters;
}

}  // namespace skylark
