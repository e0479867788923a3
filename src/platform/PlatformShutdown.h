#pragma once

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Ends the platform's background work before a process exits: the shared
// URL session's thread and the pool under the global and serial queues.
// Work already running finishes; work not yet started never runs. Returns
// once no thread of theirs runs anything, so nothing touches static
// objects while they are destroyed. Call it last, on the main thread.
void shutdownPlatform();

}  // namespace skylark
