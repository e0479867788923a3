#include "TimelineSVG.h"

#include <algorithm>
#include <cmath>
#include <map>

#include <fmt/format.h>

#include "XMLText.h"

namespace skylark::tool {
namespace {

constexpr double kWidth = 1200;
constexpr double kLeft = 70;
constexpr double kRight = 30;
constexpr double kBandTop = 50;
constexpr double kBandHeight = 46;
constexpr double kCharWidth = 6.2;  // 11 px sans-serif, roughly

std::string clock(double seconds) {
  const int s = static_cast<int>(std::lround(seconds));
  return s >= 3600 ? fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60)
                   : fmt::format("{}:{:02}", s / 60, s % 60);
}

const std::map<std::string, std::string>& colours() {
  static const std::map<std::string, std::string> table = {
      {"impression", "#d62728"},   {"start", "#ff7f0e"},         {"firstQuartile", "#bcbd22"},
      {"midpoint", "#2ca02c"},     {"thirdQuartile", "#17becf"}, {"complete", "#1f77b4"},
      {"creativeView", "#9467bd"}, {"breakStart", "#8c564b"},    {"breakEnd", "#8c564b"},
      {"skip", "#e377c2"},         {"verification", "#7f7f7f"},  {"other", "#444444"}};
  return table;
}

}  // namespace

std::string beaconType(const std::string& url) {
  for (const auto& [type, colour] : colours()) {
    if (type != "other" && url.find(type) != std::string::npos) return type;
  }
  if (url.find("imp") != std::string::npos) return "impression";
  return "other";
}

std::string timelineSVG(const SKYLVelaTimeline& timeline, const PlayTrace* trace) {
  double length = timeline.payloadLength().seconds();
  if (!std::isfinite(length) || length <= 0) length = 1;
  const double span = kWidth - kLeft - kRight;
  auto x = [&](double t) { return kLeft + std::clamp(t, 0.0, length) / length * span; };

  const int steps = trace && !trace->samples.empty() ? trace->samples.back().step + 1 : 0;
  const double pathTop = kBandTop + kBandHeight + 60;
  const double pathHeight = trace ? 420 : 0;
  auto y = [&](int step) { return pathTop + (steps > 1 ? step * pathHeight / (steps - 1) : 0); };
  const double height = pathTop + pathHeight + (trace ? 70 : 10);

  std::string svg = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{:.0f}\" height=\"{:.0f}\" "
      "viewBox=\"0 0 {:.0f} {:.0f}\" font-family=\"sans-serif\" font-size=\"11\">\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      "<text x=\"{:.0f}\" y=\"24\" font-size=\"15\" font-weight=\"bold\">Stitched stream, {} "
      "({} of content)</text>\n",
      kWidth, height, kWidth, height, kLeft, clock(length),
      clock(timeline.contentLength().isNumeric() ? timeline.contentLength().seconds() : length));

  // Content under everything, breaks and their ads above it.
  svg += fmt::format(
      "<rect x=\"{:.1f}\" y=\"{:.0f}\" width=\"{:.1f}\" height=\"{:.0f}\" fill=\"#dfe8f1\"/>\n",
      kLeft, kBandTop, span, kBandHeight);
  svg += fmt::format(
      "<text x=\"{:.0f}\" y=\"{:.0f}\" text-anchor=\"end\" fill=\"#555\">stream</text>\n",
      kLeft - 6, kBandTop + kBandHeight / 2 + 4);
  int breakNumber = 0;
  double lastBreakLabel = -1e9;
  for (const auto& sequence : *timeline.adSequences()) {
    ++breakNumber;
    const double b = sequence->beginTime().seconds(), e = sequence->endTime().seconds();
    svg += fmt::format("<g class=\"break\" id=\"break-{}\"><title>break {} at {} ({} s)</title>\n",
                       breakNumber, breakNumber, clock(b), std::lround(e - b));
    svg += fmt::format(
        "<rect x=\"{:.1f}\" y=\"{:.0f}\" width=\"{:.1f}\" height=\"{:.0f}\" fill=\"#f4a261\"/>\n",
        x(b), kBandTop, std::max(1.0, x(e) - x(b)), kBandHeight);
    for (const auto& ad : sequence->ads()) {
      const double ab = ad->beginTime().seconds(), ae = ad->endTime().seconds();
      const std::string label = ad->adId().empty() ? ad->title() : ad->adId();
      svg += fmt::format(
          "<rect class=\"ad\" x=\"{:.1f}\" y=\"{:.0f}\" width=\"{:.1f}\" height=\"{:.0f}\" "
          "fill=\"#e76f51\" "
          "stroke=\"white\" stroke-width=\"0.5\"><title>ad {} {}-{}</title></rect>\n",
          x(ab), kBandTop + 4, std::max(1.0, x(ae) - x(ab)), kBandHeight - 8, xmlEscaped(label),
          clock(ab), clock(ae));
      // A label only where it fits: a 2-hour stream with 30 breaks stays legible.
      if (x(ae) - x(ab) > label.size() * kCharWidth + 4) {
        svg += fmt::format(
            "<text x=\"{:.1f}\" y=\"{:.0f}\" text-anchor=\"middle\" fill=\"white\">{}</text>\n",
            (x(ab) + x(ae)) / 2, kBandTop + kBandHeight / 2 + 4, xmlEscaped(label));
      }
    }
    // The break's number above the band, when there is room since the last.
    const double labelX = (x(b) + x(e)) / 2;
    if (labelX - lastBreakLabel >= 20) {
      lastBreakLabel = labelX;
      svg += fmt::format(
          "<text class=\"break-label\" x=\"{:.1f}\" y=\"{:.0f}\" "
          "text-anchor=\"middle\">{}</text>\n",
          labelX, kBandTop - 6, breakNumber);
    }
    svg += "</g>\n";
  }

  // Content time beneath, at the content segments' starts (where room allows).
  double lastLabel = -1e9;
  svg += fmt::format(
      "<text x=\"{:.0f}\" y=\"{:.0f}\" text-anchor=\"end\" fill=\"#555\">content</text>\n",
      kLeft - 6, kBandTop + kBandHeight + 18);
  for (const auto& segment : timeline.contentSegments()) {
    const double b = segment.beginTime().seconds();
    const double content = timeline.contentTimeAtAbsoluteTime(segment.beginTime()).seconds();
    if (!std::isfinite(b) || !std::isfinite(content) || x(b) - lastLabel < 44) continue;
    lastLabel = x(b);
    svg += fmt::format(
        "<line x1=\"{:.1f}\" x2=\"{:.1f}\" y1=\"{:.0f}\" y2=\"{:.0f}\" stroke=\"#999\"/>\n"
        "<text x=\"{:.1f}\" y=\"{:.0f}\" fill=\"#555\">{}</text>\n",
        x(b), x(b), kBandTop + kBandHeight, kBandTop + kBandHeight + 6, x(b) + 2,
        kBandTop + kBandHeight + 18, clock(content));
  }

  if (trace && steps > 0) {
    svg += fmt::format(
        "<text x=\"{:.0f}\" y=\"{:.0f}\" fill=\"#555\">viewing, top to bottom: the "
        "playhead, and each beacon where it fired</text>\n",
        kLeft, pathTop - 12);
    std::string points;
    for (const auto& sample : trace->samples) {
      points += fmt::format("{:.1f},{:.1f} ", x(sample.streamTime), y(sample.step));
    }
    svg +=
        "<polyline class=\"playhead\" fill=\"none\" stroke=\"#264653\" stroke-width=\"1.5\" "
        "points=\"" +
        points + "\"/>\n";
    for (const auto& beacon : trace->beacons) {
      const auto found = colours().find(beacon.type);
      const std::string& colour = found == colours().end() ? colours().at("other") : found->second;
      svg += fmt::format(
          "<line class=\"beacon\" x1=\"{:.1f}\" x2=\"{:.1f}\" y1=\"{:.1f}\" y2=\"{:.1f}\" "
          "stroke=\"{}\" stroke-width=\"2\"><title>{}</title></line>\n",
          x(beacon.streamTime), x(beacon.streamTime) + 9, y(beacon.step), y(beacon.step), colour,
          xmlEscaped(beacon.type));
    }
    for (const auto& mark : trace->marks) {
      // The label sits left of the mark, clear of the path that goes on rightwards.
      svg += fmt::format(
          "<g class=\"mark\"><circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"4\" fill=\"white\" "
          "stroke=\"#000\"/><text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"end\" "
          "font-style=\"italic\">{}</text></g>\n",
          x(mark.streamTime), y(mark.step), x(mark.streamTime) - 7, y(mark.step) + 4,
          xmlEscaped(mark.label));
    }
    // The legend.
    double lx = kLeft;
    const double ly = pathTop + pathHeight + 40;
    for (const auto& [type, colour] : colours()) {
      svg += fmt::format(
          "<rect x=\"{:.0f}\" y=\"{:.0f}\" width=\"10\" height=\"10\" fill=\"{}\"/>"
          "<text x=\"{:.0f}\" y=\"{:.0f}\">{}</text>\n",
          lx, ly - 9, colour, lx + 13, ly, type);
      lx += 18 + type.size() * kCharWidth + 10;
    }
  }
  svg += "</svg>\n";
  return svg;
}

}  // namespace skylark::tool
