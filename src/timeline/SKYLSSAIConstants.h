#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Visibility.h"

// The plug-in's public constants: error domain and codes, seek and rewind
// values, lifecycle event names and property keys. String values equal the
// constants' names unless noted.
namespace SKYLARK_API skylark {

inline constexpr std::string_view kSKYLSSAIErrorDomain = "kSKYLSSAIErrorDomain";
inline constexpr int64_t kSKYLSSAIErrorCodeTimelineLoadError = 509;
inline constexpr int64_t kSKYLSSAIErrorCodeVMAPMissingError = 510;

// 0.2 s as a single-precision number widened to double (0x3FC99999A0000000).
inline constexpr double kSKYLSSAISeekOffset = static_cast<double>(0.2f);
inline constexpr float kSKYLSSAIRewindingRate = -24.0f;
inline constexpr float kSKYLSSAI4xRewindingRate = -96.0f;

inline constexpr std::string_view kSKYLVUXAuthQueryParam = "skyl_auth";

inline constexpr std::string_view kSKYLSSAILifecycleErrorEvent = "kSKYLSSAILifecycleErrorEvent";
inline constexpr std::string_view kSKYLSSAILifecycleEventPropertiesKeyError =
    "kSKYLSSAILifecycleEventPropertiesKeyError";
// The player seeked past a break the viewer had already watched (the skip
// policy for played breaks); the properties hold the break under the host's
// ad-sequence key.
inline constexpr std::string_view kSKYLSSAILifecycleEventSeekPastPlayedBreak =
    "kSKYLSSAILifecycleEventSeekPastPlayedBreak";
inline constexpr std::string_view kSKYLSSAILifecycleEventAdWebViewControllerWillOpen =
    "kSKYLSSAILifecycleEventAdWebViewControllerWillOpen";
inline constexpr std::string_view kSKYLSSAILifecycleEventAdWebViewControllerDidOpen =
    "kSKYLSSAILifecycleEventAdWebViewControllerDidOpen";
inline constexpr std::string_view kSKYLSSAILifecycleEventAdWebViewControllerWillClose =
    "kSKYLSSAILifecycleEventAdWebViewControllerWillClose";
inline constexpr std::string_view kSKYLSSAILifecycleEventAdWebViewControllerDidClose =
    "kSKYLSSAILifecycleEventAdWebViewControllerDidClose";
inline constexpr std::string_view
    kSKYLSSAILifecycleEventAdWebViewControllerWillOpenExternalBrowser =
        "kSKYLSSAILifecycleEventAdWebViewControllerWillOpenExternalBrowser";

inline constexpr std::string_view kSKYLSSAIAdPropertiesKeyVelaAd = "kSKYLSSAIAdPropertiesKeyVelaAd";
inline constexpr std::string_view kSKYLSSAIAdPropertiesKeyVelaAdSequence =
    "kSKYLSSAIAdPropertiesKeyVelaAdSequence";
inline constexpr std::string_view kSKYLSSAIAdPropertiesKeyVelaAdAnalyticsSession =
    "kSKYLSSAIAdPropertiesKeyVelaAdAnalyticsSession";
inline constexpr std::string_view kSKYLSSAIVASTAdCreativeExtensionsKey =
    "SKYLSSAIVASTAdCreativeExtensionsKey";
inline constexpr std::string_view kSKYLSSAIVASTAdExtensionsKey = "SKYLSSAIVASTAdExtensionsKey";

// Private keys of the host ad records the session emits.
inline constexpr std::string_view kSKYLAdPrivatePropertyKeySkipHandler =
    "kSKYLAdPrivatePropertyKeySkipHandler";
inline constexpr std::string_view kSKYLAdPrivatePropertyKeyLearnMoreClickTrackingHandler =
    "kSKYLAdPrivatePropertyKeyLearnMoreClickTrackingHandler";

}  // namespace skylark
