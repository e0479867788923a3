#include "CommandLine.h"

#include <cmath>
#include <csignal>

namespace skylark::tool {
namespace {

constexpr double kMaxSeconds = 1e9;

std::atomic<bool> gInterrupted{false};
void interrupt(int) { gInterrupted = true; }

}  // namespace

const std::atomic<bool>& catchInterrupts() {
  std::signal(SIGINT, interrupt);
  return gInterrupted;
}

double parseFinite(const std::string& text) {
  size_t used = 0;
  const double value = std::stod(text, &used);
  if (used != text.size() || !std::isfinite(value) || std::fabs(value) > kMaxSeconds) {
    throw std::invalid_argument(text);
  }
  return value;
}

CLI::Validator finiteNumber(bool positive, bool allowZero) {
  return CLI::Validator(
      [positive, allowZero](std::string& text) -> std::string {
        double value = 0;
        try {
          value = parseFinite(text);
        } catch (const std::exception&) {
          return "expected a finite number of at most 1e9, got " + text;
        }
        if (positive && (value < 0 || (value == 0 && !allowZero))) {
          return std::string("expected a ") + (allowZero ? "non-negative" : "positive") +
                 " number, got " + text;
        }
        return {};
      },
      positive ? (allowZero ? "NONNEGATIVE" : "POSITIVE") : "NUMBER");
}

std::function<void(const std::string&)> pairValidator(std::string option, std::string shape) {
  return [option, shape](const std::string& text) {
    const size_t colon = text.find(':');
    try {
      if (colon == std::string::npos) throw std::invalid_argument(text);
      (void)parseFinite(text.substr(0, colon));
      (void)parseFinite(text.substr(colon + 1));
    } catch (const std::exception&) {
      throw CLI::ValidationError(option, "expected " + shape + " as finite numbers, got " + text);
    }
  };
}

std::vector<std::pair<double, double>> parsePairs(const std::vector<std::string>& texts) {
  std::vector<std::pair<double, double>> pairs;
  for (const auto& text : texts) {
    const size_t colon = text.find(':');
    pairs.emplace_back(parseFinite(text.substr(0, colon)), parseFinite(text.substr(colon + 1)));
  }
  return pairs;
}

void checkKeyValue(const std::string& param) {
  if (param.find('=') == std::string::npos || param.front() == '=') {
    throw CLI::ValidationError("--ads-param", "expected K=V, got " + param);
  }
}

std::map<std::string, std::string> parseKeyValues(const std::vector<std::string>& params) {
  std::map<std::string, std::string> values;
  for (const auto& param : params) {
    const size_t equals = param.find('=');
    values[param.substr(0, equals)] = param.substr(equals + 1);
  }
  return values;
}

void addHeaderOption(CLI::App& command, std::vector<std::string>& headers) {
  command
      .add_option("--header", headers,
                  "NAME:VALUE sent with the download (repeatable; a default User-Agent is "
                  "sent unless one is given)")
      ->each([](const std::string& header) {
        if (header.find(':') == std::string::npos || header.front() == ':') {
          throw CLI::ValidationError("--header", "expected NAME:VALUE, got " + header);
        }
      });
}

HTTPHeaderFields parseHeaders(const std::vector<std::string>& headers) {
  HTTPHeaderFields fields;
  for (const auto& header : headers) {
    const size_t colon = header.find(':');
    std::string value = header.substr(colon + 1);
    value.erase(0, value.find_first_not_of(' '));
    fields.emplace_back(header.substr(0, colon), value);
  }
  return fields;
}

void addPlayerOptions(CLI::App& command, PlayerKind& kind, bool& fast, bool& window) {
  static const std::map<std::string, PlayerKind> kPlayers = {{"simulated", PlayerKind::simulated},
                                                             {"gst", PlayerKind::gst}};
  command
      .add_option("--player", kind, "simulated (a virtual clock, the default) or gst (GStreamer)")
      ->transform(CLI::CheckedTransformer(kPlayers, CLI::ignore_case));
  command.add_flag("--fast", fast,
                   "gst: play as fast as the stream decodes instead of in real time");
  command.add_flag("--window", window, "gst: show the video in a window");
}

void addSessionOptionFlags(CLI::App& command, PlayOptions& options) {
  command.add_flag("--macros", options.macros,
                   "Fill in the VAST macros of beacon and click-tracking URLs");
  command.add_flag("--no-snapback{false}", options.snapback,
                   "A forward seek goes straight to its target, playing no break it jumps over");
  command
      .add_option("--start-at", options.startAt,
                  "Start at this content time (seconds), as a resumed bookmark; the breaks "
                  "before it do not play")
      ->check(finiteNumber(true, true));
  command.add_flag("--bookmark-plays-last-break", options.bookmarkPlaysLastBreak,
                   "With --start-at: the last break before the bookmark plays first");
  command
      .add_option("--played-breaks", options.playedBreaks,
                  "A break already watched: replay it (default) or skip past it")
      ->check(CLI::IsMember({"replay", "skip"}));
}

}  // namespace skylark::tool
