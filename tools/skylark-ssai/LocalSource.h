#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "platform/Result.h"

namespace skylark::tool {

// Reads a local file named on the command line (an ad document, live
// metadata) whole, as the tool's downloads are read: at most `limit` bytes,
// checked while reading, so /dev/zero or an endless FIFO costs no more than
// the limit. A directory or anything unreadable is an error that says why.
// A FIFO or device is opened without waiting for a writer; its bytes must
// all arrive within `timeout`. Errors are NSCocoaErrorDomain 260.
Result<std::string> readLocalSource(const std::string& path, size_t limit,
                                    std::chrono::milliseconds timeout);

// The same with the limits of a download: the URL session's largest body
// and its connect time-out.
Result<std::string> readLocalSource(const std::string& path);

}  // namespace skylark::tool
