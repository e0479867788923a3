#pragma once

#include <string_view>

#include "platform/SKYLError.h"
#include "platform/Visibility.h"
#include "xml/XMLTypes.h"

namespace SKYLARK_API skylark {

inline constexpr std::string_view kSKYLVelaXMLErrorDomain = "SKYLVelaXMLErrorDomain";

// The error of a libxml2 failure: domain "SKYLVelaXMLErrorDomain", the
// libxml2 code, and the libxml2 message (trimmed) as the failure reason.
// Clears libxml2's last error of this thread afterwards.
SKYLError SKYLVelaXMLSetErrorFromXMLErrorPtr(XMLErrorPtr error);

}  // namespace skylark
