#include "platform/PlatformShutdown.h"

#include "platform/DispatchQueue.h"
#include "platform/URLSession.h"

namespace skylark {

void shutdownPlatform() {
  // The network first: its completions post to the queues, which then end
  // with whatever they were running.
  URLSession::invalidateShared();
  Dispatch::shutdown();
}

}  // namespace skylark
