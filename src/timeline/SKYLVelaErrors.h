#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Errors of VMAP retrieval and parsing.
inline constexpr std::string_view SKYLVelaErrorDomain = "SKYLVelaErrorDomain";
inline constexpr int64_t SKYLVelaDocumentErrorCodeConnection = 4010;       // download failed
inline constexpr int64_t SKYLVelaDocumentErrorCodeDeserialization = 4011;  // not a usable document
inline constexpr int64_t SKYLVelaDocumentErrorCodeMultipleRetrieval = 4012;

// Posted on the main queue with each downloaded VMAP response; the object
// is the session's common properties, the raw bytes are under
// "response_data".
inline constexpr std::string_view kSKYLSSAIVMAPResponseReceivedNotification =
    "kSKYLSSAIVMAPResponseReceivedNotification";
inline constexpr std::string_view kSKYLSSAIVMAPResponseReceivedNotificationDataUserInfoKey =
    "response_data";

}  // namespace skylark
