#include <gtest/gtest.h>

// Built instead of the GStreamer tests when the build found no GStreamer.
TEST(GStreamer, IsInstalled) {
  GTEST_SKIP()
      << "GStreamer (pkg-config gstreamer-1.0) was not found when the build was configured: "
         "the GStreamer player and its tests were left out. scripts/setup installs it.";
}
