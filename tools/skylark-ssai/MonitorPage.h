#pragma once

#include <string_view>

namespace skylark::tool {

// The monitor's page: HTML, CSS and JavaScript in one document, with no
// framework and nothing fetched from elsewhere. It follows /events
// (MonitorServer) and draws the timeline, the playhead in stream and
// content time, the lifecycle events, and each beacon with what became of
// it.
std::string_view monitorPage();

}  // namespace skylark::tool
