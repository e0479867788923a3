#pragma once

#include <string_view>

#include "platform/Visibility.h"

// The host player SDK's string constants. Each value is the constant's own
// name, as the SDK publishes them.
namespace SKYLARK_API skylark {

#define SKYL_HOST_CONSTANT(name) inline constexpr std::string_view name = #name

// Lifecycle event types of playback sessions.
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventReady);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPlay);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPlayRequest);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPause);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPauseRequest);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventWillPauseForAd);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventEnd);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventResumeComplete);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventFail);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdEnter);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdExit);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdSequenceEnter);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdSequenceExit);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdProgress);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdPause);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdResume);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventAdSkipped);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventBumperEnter);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventBumperExit);

// Every one of them, for code that recognises a host type.
inline constexpr std::string_view kSKYLPlaybackSessionLifecycleEventTypes[] = {
    kSKYLPlaybackSessionLifecycleEventReady,
    kSKYLPlaybackSessionLifecycleEventPlay,
    kSKYLPlaybackSessionLifecycleEventPlayRequest,
    kSKYLPlaybackSessionLifecycleEventPause,
    kSKYLPlaybackSessionLifecycleEventPauseRequest,
    kSKYLPlaybackSessionLifecycleEventWillPauseForAd,
    kSKYLPlaybackSessionLifecycleEventEnd,
    kSKYLPlaybackSessionLifecycleEventResumeComplete,
    kSKYLPlaybackSessionLifecycleEventFail,
    kSKYLPlaybackSessionLifecycleEventAdEnter,
    kSKYLPlaybackSessionLifecycleEventAdExit,
    kSKYLPlaybackSessionLifecycleEventAdSequenceEnter,
    kSKYLPlaybackSessionLifecycleEventAdSequenceExit,
    kSKYLPlaybackSessionLifecycleEventAdProgress,
    kSKYLPlaybackSessionLifecycleEventAdPause,
    kSKYLPlaybackSessionLifecycleEventAdResume,
    kSKYLPlaybackSessionLifecycleEventAdSkipped,
    kSKYLPlaybackSessionLifecycleEventBumperEnter,
    kSKYLPlaybackSessionLifecycleEventBumperExit,
};

// Lifecycle event property keys.
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress);
SKYL_HOST_CONSTANT(kSKYLPlaybackSessionLifecycleEventPropertiesKeyError);

// Host ad record property keys.
SKYL_HOST_CONSTANT(kSKYLAdPropertyKeySkippable);
SKYL_HOST_CONSTANT(kSKYLAdPropertyKeySkipTime);
SKYL_HOST_CONSTANT(kSKYLAdPropertyKeyClickthroughURLs);
SKYL_HOST_CONSTANT(kSKYLAdPropertyKeyTrackingURLs);

// Source property keys and parameters.
SKYL_HOST_CONSTANT(kSKYLSourcePropertyKeyVMAP);
SKYL_HOST_CONSTANT(kSKYLSourcePropertyKeyEXTXVersion);
SKYL_HOST_CONSTANT(kSKYLSourcePropertyKeyAuthToken);
SKYL_HOST_CONSTANT(kSKYLSourcePropertyKeyEncryption);
SKYL_HOST_CONSTANT(kSKYLSourceParameterKeyLivePlaybackToken);
SKYL_HOST_CONSTANT(kSKYLSourceURLKey);

// Cue points.
SKYL_HOST_CONSTANT(kSKYLCuePointTypeAdSlot);

// Video property keys.
SKYL_HOST_CONSTANT(kSKYLVideoPropertyKeyIdentifier);

// Notifications.
SKYL_HOST_CONSTANT(kSKYLPlayerRateDidChangeNotification);

// The ad ledger's parameter keys and options.
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodIndexKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodAdCountKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodDurationKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodHost);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodTypeKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodRequestMSKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodRequestModeKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterPodTimeOffsetKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdIndexKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdDurationKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdSkipTimeOffsetKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdTitleKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdCreativeIDKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdAudibleDurationKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdPlayDuration);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdSkippedKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerParameterAdInteractionKey);
SKYL_HOST_CONSTANT(kSKYLAdLedgerOptionAdPodTypePreroll);
SKYL_HOST_CONSTANT(kSKYLAdLedgerOptionAdPodTypeMidroll);
SKYL_HOST_CONSTANT(kSKYLAdLedgerOptionAdPodTypePostroll);
SKYL_HOST_CONSTANT(kSKYLAdLedgerOptionAdPodRequestModeOnLoad);

#undef SKYL_HOST_CONSTANT

// Seconds of at least half visibility that make an ad's impression viewable.
inline constexpr int kSKYLAdLedgerAdViewableSeconds = 2;

}  // namespace skylark
