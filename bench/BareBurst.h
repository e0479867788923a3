// A burst of GETs sent with bare libcurl: what the transport alone needs
// for as many requests as a tick of many sessions hands it, measured on the
// same machine as the sessions, to compare their tick-to-wire time with.
#pragma once

#include <string>
#include <vector>

namespace skylark::bench {

// GETs every URL, keeping at most `connections` transfers under way (one
// per connection to the host, each easy handle reused for the next URL, so
// libcurl keeps its connections as a beacon transport does). Returns the
// number answered; any failure is counted, not retried.
size_t bareBurst(const std::vector<std::string>& urls, long connections);

}  // namespace skylark::bench
