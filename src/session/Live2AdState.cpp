#include "session/Live2AdState.h"

#include "host/SKYLHostConstants.h"
#include "host/SKYLHostLog.h"
#include "measurement/SKYLAdVerification.h"
#include "timeline/SKYLSSAIConstants.h"
#include "timeline/SKYLVelaAdBuilder.h"
#include "timeline/SKYLVelaCompanionAdBuilder.h"
#include "timeline/SKYLVelaCompanionAdsCollectionBuilder.h"

namespace skylark {
namespace {

std::string key(std::string_view name) { return std::string(name); }

double secondsBetween(SystemTime from, SystemTime to) {
  return std::chrono::duration<double>(to - from).count();
}

std::vector<URL> urls(const std::vector<std::string>& texts) {
  std::vector<URL> parsed;
  for (const auto& text : texts) {
    if (auto url = URL::parse(text)) parsed.push_back(std::move(*url));
  }
  return parsed;
}

using Properties = SKYLVelaProgressTrackerEvent::Properties;

Properties ofBreak(std::shared_ptr<SKYLVelaAdSequence> sequence) {
  Properties properties;
  properties.adSequence = std::move(sequence);
  return properties;
}

Properties ofAd(std::shared_ptr<const SKYLVelaAd> ad, std::shared_ptr<SKYLVelaAdSequence> sequence,
                std::optional<MediaTime> progress = std::nullopt) {
  Properties properties;
  properties.ad = std::move(ad);
  properties.adSequence = std::move(sequence);
  properties.adProgress = progress;
  return properties;
}

}  // namespace

Live2AdState::Live2AdState(std::shared_ptr<SKYLSSAILive2Coordinator> coordinator, Emit emit)
    : coordinator_(std::move(coordinator)), emit_(std::move(emit)) {}

void Live2AdState::live2UpdateAdState(SystemTime date) {
  const auto now = coordinator_->updateAndRead(date);
  if (now.availId) {
    if (now.availId != live2CurrentAvailId_) {
      if (live2CurrentAvailId_) {
        // Straight from one avail into the next.
        live2ExitCurrentAd();
        emit(TrackerEvent::ExitAdSequence, ofBreak(live2CurrentAdSequence_));
      }
      live2CurrentAvailId_ = now.availId;
      live2SequenceAdCount_ = 0;
      live2CurrentAdSequence_ = nullptr;
    }
    const auto count = static_cast<int64_t>(now.availAds.size());
    if (count > live2SequenceAdCount_) {
      // Announced again whenever more of the break's ads can be shown.
      SKYLVelaAdSequence::Ads ads;
      auto record = std::make_shared<SKYLAdSequence>();
      std::map<std::string, LiveAd> known;
      for (size_t i = 0; i < now.availAds.size(); ++i) {
        const auto& info = now.availAds[i];
        const auto existing = ads_.find(info.adId);
        LiveAd ad = existing != ads_.end() ? existing->second
                                           : live2AdForInfo(info, static_cast<int64_t>(i));
        ads.push_back(ad.ad);
        record->ads.push_back(ad.record);
        known.emplace(info.adId, std::move(ad));
      }
      ads_ = std::move(known);
      record->setVmapClientOptionsShowAdRemainingTime(true);
      record->setVmapClientOptionsShowAdBreakRemainingTime(true);
      record->setVmapClientOptionsShowNumberOfRemainingAds(true);
      live2SequenceAdCount_ = count;
      live2CurrentAdSequence_ =
          std::make_shared<SKYLVelaAdSequence>(std::move(ads), SKYLVelaAdSequence::LiveOptions{});
      record->properties[key(kSKYLSSAIAdPropertiesKeyVelaAdSequence)] = live2CurrentAdSequence_;
      live2CurrentSequenceRecord_ = std::move(record);
      emit(TrackerEvent::EnterAdSequence, ofBreak(live2CurrentAdSequence_));
    }
    const auto& info = now.ad;
    // An ad without an id is an ad too: entered when none is current.
    if (info && (!live2CurrentAdId_ || *live2CurrentAdId_ != info->adId)) {
      live2ExitCurrentAd();
      const auto found = ads_.find(info->adId);
      current_ = found != ads_.end() ? found->second : live2AdForInfo(*info, 0);
      live2CurrentAdId_ = info->adId;
      live2CurrentAdStartDate_ = date;
      emit(TrackerEvent::EnterAd, ofAd(current_.ad, live2CurrentAdSequence_));
    } else if (!info && live2CurrentAdId_) {
      live2ExitCurrentAd();
    }
    live2EmitAdProgressAt(date);
    return;
  }
  live2EmitAdProgressAt(date);
  if (live2CurrentAvailId_) {
    live2ExitCurrentAd();
    live2CurrentAvailId_.reset();
    live2SequenceAdCount_ = 0;
    ads_.clear();
    const auto sequence = std::exchange(live2CurrentAdSequence_, nullptr);
    if (sequence) emit(TrackerEvent::ExitAdSequence, ofBreak(sequence));
  }
}

void Live2AdState::live2ExitCurrentAd() {
  if (!live2CurrentAdId_) return;
  live2CurrentAdId_.reset();
  live2CurrentAdStartDate_.reset();
  emit(TrackerEvent::ExitAd, ofAd(current_.ad, live2CurrentAdSequence_));
}

void Live2AdState::live2EmitAdProgressAt(SystemTime date) {
  if (!current_.ad || !live2CurrentAdId_ || !live2CurrentAdStartDate_) return;
  double elapsed = secondsBetween(*live2CurrentAdStartDate_, date);
  const double duration = current_.ad->duration().seconds();
  if (duration > 0 && elapsed > duration) elapsed = duration;  // never past the ad's end
  emit(TrackerEvent::AdProgress,
       ofAd(current_.ad, live2CurrentAdSequence_, MediaTime::makeWithSeconds(elapsed, 600)));
}

void Live2AdState::emit(uint64_t type, TrackerEvent::Properties properties) {
  const bool needsAd = type == TrackerEvent::EnterAd || type == TrackerEvent::ExitAd ||
                       type == TrackerEvent::AdProgress;
  if (needsAd ? !properties.ad : !properties.adSequence) {
    SKYLHostLog(0, "Suppressed Meridian Live %@ with no %@; emitting it would abort.",
                TrackerEvent(type, std::nullopt).trackerType(),
                needsAd ? kSKYLVelaProgressTrackerEventPropertiesKeyAd
                        : kSKYLVelaProgressTrackerEventPropertiesKeyAdSequence);
    return;
  }
  emit_(std::make_shared<const TrackerEvent>(type, std::move(properties)));
}

std::shared_ptr<SKYLAd> Live2AdState::adRecordFor(
    const std::shared_ptr<const SKYLVelaAd>& ad) const {
  if (current_.ad == ad && current_.record) return current_.record;
  for (const auto& [id, known] : ads_) {
    if (known.ad == ad) return known.record;
  }
  if (!ad) return nullptr;
  SKYLSSAILive2AdInfo info;
  info.adId = ad->adId();
  info.title = ad->title();
  return live2AdForInfo(info, 0).record;
}

std::shared_ptr<SKYLAdSequence> Live2AdState::sequenceRecordFor(
    const std::shared_ptr<SKYLVelaAdSequence>& sequence) const {
  if (sequence && sequence == live2CurrentAdSequence_) return live2CurrentSequenceRecord_;
  auto record = std::make_shared<SKYLAdSequence>();
  if (sequence) {
    for (const auto& ad : sequence->ads()) record->ads.push_back(adRecordFor(ad));
  }
  return record;
}

Live2AdState::LiveAd Live2AdState::live2AdForInfo(const SKYLSSAILive2AdInfo& info,
                                                  int64_t adIndex) const {
  auto record = std::make_shared<SKYLAd>();
  record->title = info.title;
  record->adId = info.adId;
  record->beginTime = MediaTime::makeWithSeconds(info.beginTime, 600);
  record->duration = MediaTime::makeWithSeconds(info.duration, 600);
  record->adIndex = adIndex;
  record->properties[key(kSKYLAdPropertyKeyClickthroughURLs)] = info.clickthroughURLs;
  record->properties[key(kSKYLAdPropertyKeyTrackingURLs)] = info.clickTrackingURLs;
  record->properties[key(kSKYLAdPropertyKeySkippable)] = int64_t{0};
  auto ad = live2VelaAdForInfo(info);
  record->properties[key(kSKYLSSAIAdPropertiesKeyVelaAd)] = ad;
  std::weak_ptr<SKYLSSAILive2Coordinator> coordinator = coordinator_;
  record->privateProperties[key(kSKYLAdPrivatePropertyKeyLearnMoreClickTrackingHandler)] =
      std::function<void()>([coordinator, adId = info.adId] {
        if (const auto live = coordinator.lock()) live->fireClickTracking(adId);
      });
  return {std::move(ad), std::move(record)};
}

std::shared_ptr<const SKYLVelaAd> Live2AdState::live2VelaAdForInfo(
    const SKYLSSAILive2AdInfo& info) const {
  SKYLVelaAdBuilder builder;
  builder.adId = info.adId;
  builder.adTitle = info.title;
  builder.beginTime = MediaTime::makeWithSeconds(info.beginTime, 600);
  builder.duration = MediaTime::makeWithSeconds(info.duration, 600);
  builder.liveSSAI = true;
  builder.adNotSlate = !info.isSlate;
  builder.impressionURLs = urls(info.impressionURLs);
  SKYLVelaCompanionAdsCollectionBuilder companions;
  for (const auto& companion : info.companions) {
    SKYLVelaCompanionAdBuilder c;
    c.identifier = companion.identifier;
    c.width = companion.width;
    c.height = companion.height;
    c.staticResourceURL = companion.staticResource;
    c.staticResourceCreativeType = companion.creativeType;
    c.clickThroughURL = companion.clickThrough;
    companions.addCompanionAd(c.buildCompanionAd());
  }
  builder.companionsCollection = companions.buildCompanionAdsCollection();
  if (!info.clickthroughURLs.empty())
    builder.clickThroughURL = URL::parse(info.clickthroughURLs.front());
  builder.clickTrackingURLs = urls(info.clickTrackingURLs);
  for (const auto& verification : coordinator_->verifications(info.adId)) {
    builder.adVerifications.push_back(std::make_shared<const SKYLAdVerification>(
        verification.vendor, verification.apiFramework, verification.browserOptional,
        verification.resource, verification.verificationParameters, nullptr));
  }
  return std::move(builder).buildAd();
}

}  // namespace skylark
