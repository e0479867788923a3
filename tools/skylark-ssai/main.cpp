// skylark-ssai: the library's command-line tool.
//
//   skylark-ssai demo [--quick] [--json] [--keep-serving] [--svg FILE]
//                [--player simulated|gst --stream DIR [--fast] [--window]]
//   skylark-ssai generate [--breaks N] [--ads-per-break M] [--seed S]
//                [--size small|medium|large] [-o FILE]
//   skylark-ssai inspect SOURCE [--header NAME:VALUE]... [--json]
//   skylark-ssai simulate SOURCE [--step S] [--rate R] [--until T]
//                [--seek-at AT:TO]... [--skip-at AT]... [--fire] [--json]
//   skylark-ssai play SOURCE [--step S] [--until T] [--rate R] [--seek AT:TO]...
//                [--skip-at AT]... [--pause-at AT:SECONDS]... [--rate-at AT:R]...
//                [--fire] [--json] [--realtime] [--token T] [--ads-param K=V]...
//                [--playhead-delay S] [--live] [--metadata-at AT:FILE]... [--companion WxH]...
//                [--player simulated|gst] [--fast] [--window]
//   skylark-ssai live SOURCE_URL [--token T] [--ads-param K=V]... [--playhead-delay S]
//                [--duration S] [--fire] [--json]
//
// Exit codes: 0 success, 1 the work failed, 2 usage error.
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <map>

#include <CLI/CLI.hpp>

#include "DemoCommand.h"
#include "GenerateCommand.h"
#include "InspectCommand.h"
#include "LiveCommand.h"
#include "PlayCommand.h"
#include "SimulateCommand.h"

namespace {

constexpr int kUsageError = 2;

std::atomic<bool> gInterrupted{false};
void interrupt(int) { gInterrupted = true; }

// Seconds and rates the tool can compute with: finite, and small enough
// that no clock arithmetic overflows (a billion seconds is 31 years).
constexpr double kMaxSeconds = 1e9;

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

// "K=V" with a key.
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

// "A:B" of two finite numbers.
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

skylark::HTTPHeaderFields parseHeaders(const std::vector<std::string>& headers) {
  skylark::HTTPHeaderFields fields;
  for (const auto& header : headers) {
    const size_t colon = header.find(':');
    std::string value = header.substr(colon + 1);
    value.erase(0, value.find_first_not_of(' '));
    fields.emplace_back(header.substr(0, colon), value);
  }
  return fields;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Skylark SSAI: server-side ad insertion tools"};
  app.require_subcommand(1);

  skylark::tool::InspectOptions inspect;
  std::vector<std::string> inspectHeaders;
  auto* inspectCommand = app.add_subcommand("inspect", "Print the ad timeline of a VMAP document");
  inspectCommand->add_option("SOURCE", inspect.source, "A file path or an http(s) URL")->required();
  addHeaderOption(*inspectCommand, inspectHeaders);
  inspectCommand->add_flag("--json", inspect.json, "Print one JSON object");
  inspectCommand->add_option("--svg", inspect.svg,
                             "Also write an SVG picture of the timeline to FILE");

  skylark::tool::SimulateOptions simulate;
  std::vector<std::string> simulateHeaders;
  std::vector<std::string> seeks;
  auto* simulateCommand = app.add_subcommand(
      "simulate",
      "Play a document's timeline with a virtual playhead, printing events and beacons");
  simulateCommand->add_option("SOURCE", simulate.source, "A file path or an http(s) URL")
      ->required();
  addHeaderOption(*simulateCommand, simulateHeaders);
  simulateCommand->add_option("--step", simulate.step, "Seconds per update at rate 1 (0.25)")
      ->check(finiteNumber(true, false));
  simulateCommand->add_option("--rate", simulate.rate, "Playback rate; negative plays backwards")
      ->check(finiteNumber(false, false));
  simulateCommand->add_option("--until", simulate.until, "Stop at this absolute time (seconds)")
      ->check(finiteNumber(false, false));
  simulateCommand
      ->add_option("--seek-at", seeks, "AT:TO: at playhead AT, seek to TO (absolute seconds)")
      ->each([](const std::string& seek) {
        const size_t colon = seek.find(':');
        try {
          if (colon == std::string::npos) throw std::invalid_argument(seek);
          (void)parseFinite(seek.substr(0, colon));
          (void)parseFinite(seek.substr(colon + 1));
        } catch (const std::exception&) {
          throw CLI::ValidationError("--seek-at", "expected AT:TO in seconds, got " + seek);
        }
      });
  simulateCommand->add_option("--skip-at", simulate.skips, "At playhead AT, skip the ad playing")
      ->check(finiteNumber(false, false));
  simulateCommand->add_flag("--fire", simulate.fire, "Send the beacons (otherwise only report)");
  simulateCommand->add_flag("--json", simulate.json, "Print one JSON object per line");

  skylark::tool::LiveOptions live;
  std::vector<std::string> adsParams;
  skylark::tool::GenerateOptions generate;
  std::string generateSize;
  auto* generateCommand = app.add_subcommand(
      "generate",
      "Write a realistic VMAP document of a given size (the same bytes for the same options)");
  generateCommand->add_option("--breaks", generate.breaks, "Ad breaks, five minutes apart (3)")
      ->check(CLI::Range(1, 100'000));
  generateCommand->add_option("--ads-per-break", generate.adsPerBreak, "Ads in each break (1)")
      ->check(CLI::Range(1, 100));
  generateCommand->add_option("--seed", generate.seed, "Seed of the document's random parts");
  generateCommand
      ->add_option("--size", generateSize, "small (3 x 1), medium (60 x 4) or large (500 x 4)")
      ->check(CLI::IsMember({"small", "medium", "large"}));
  generateCommand->add_option("-o,--output", generate.output,
                              "Write to FILE instead of standard output");

  auto* liveCommand = app.add_subcommand(
      "live", "Follow a Meridian Live stream: session, tracking poll, ads and beacons");
  liveCommand->add_option("SOURCE_URL", live.sourceURL, "The live source URL")->required();
  liveCommand->add_option("--token", live.token, "The playback token");
  liveCommand->add_option("--ads-param", adsParams, "K=V ad parameter of the session (repeatable)")
      ->each(checkKeyValue);
  liveCommand
      ->add_option("--playhead-delay", live.playheadDelay,
                   "Seconds the playhead stays behind now (10)")
      ->check(finiteNumber(true, true));
  liveCommand->add_option("--duration", live.duration, "Seconds to follow the stream (60)")
      ->check(finiteNumber(true, true));
  liveCommand->add_flag("--fire", live.fire, "Send the beacons (otherwise only report)");
  liveCommand->add_flag("--json", live.json, "Print one JSON object per line");

  const std::map<std::string, skylark::tool::PlayerKind> players = {
      {"simulated", skylark::tool::PlayerKind::simulated}, {"gst", skylark::tool::PlayerKind::gst}};
  auto addPlayerOptions = [&](CLI::App& command, skylark::tool::PlayerKind& kind, bool& fast,
                              bool& window) {
    command
        .add_option("--player", kind, "simulated (a virtual clock, the default) or gst (GStreamer)")
        ->transform(CLI::CheckedTransformer(players, CLI::ignore_case));
    command.add_flag("--fast", fast,
                     "gst: play as fast as the stream decodes instead of in real time");
    command.add_flag("--window", window, "gst: show the video in a window");
  };

  skylark::tool::PlayOptions play;
  std::vector<std::string> playHeaders, playSeeks, playPauses, playRates;
  auto* playCommand = app.add_subcommand(
      "play",
      "Play a VMAP document through the whole plug-in stack on a simulated or GStreamer player");
  playCommand->add_option("SOURCE", play.source, "A VMAP file or an http(s) URL")->required();
  addPlayerOptions(*playCommand, play.player, play.fast, play.window);
  addHeaderOption(*playCommand, playHeaders);
  playCommand->add_option("--step", play.step, "Seconds of playback per update (0.25)")
      ->check(finiteNumber(true, false));
  playCommand->add_option("--until", play.until, "Stop at this stream time (seconds)")
      ->check(finiteNumber(true, true));
  playCommand->add_option("--rate", play.rate, "The player's rate once the stream is ready (1)")
      ->check(finiteNumber(false, false));
  playCommand->add_option("--seek", playSeeks, "AT:TO: at stream time AT, seek to content time TO")
      ->each(pairValidator("--seek", "AT:TO"));
  playCommand->add_option("--skip-at", play.skips, "At stream time AT, press the ad's skip button")
      ->check(finiteNumber(true, true));
  playCommand->add_option("--pause-at", playPauses, "AT:SECONDS: pause at AT, play SECONDS later")
      ->each(pairValidator("--pause-at", "AT:SECONDS"));
  playCommand->add_option("--rate-at", playRates, "AT:RATE: at AT the player's rate becomes RATE")
      ->each(pairValidator("--rate-at", "AT:RATE"));
  playCommand->add_flag("--fire", play.fire, "Send the beacons (otherwise only report)");
  playCommand->add_flag("--json", play.json, "Print one JSON object per line");
  playCommand->add_flag("--realtime", play.realtime, "Pace the virtual clock to the wall clock");
  playCommand->add_option("--svg", play.svg,
                          "Write an SVG picture of the timeline and the viewing to FILE");
  playCommand->add_flag("--brief", play.brief, "Leave out ad progress and ledger lines");
  std::vector<std::string> playAdsParams, playMetadata, playCompanions;
  playCommand->add_option("--token", play.token, "The live playback token of the source");
  playCommand
      ->add_option("--ads-param", playAdsParams, "K=V ad parameter of a live session (repeatable)")
      ->each(checkKeyValue);
  playCommand
      ->add_option("--playhead-delay", play.playheadDelay,
                   "Live: seconds the playhead stays behind the wall clock (10)")
      ->check(finiteNumber(true, true));
  playCommand->add_flag("--live", play.live, "The source is an older live SSAI stream");
  playCommand
      ->add_option("--metadata-at", playMetadata,
                   "AT:FILE: the stream carries FILE as ID3 user text at AT (live)")
      ->each([](const std::string& text) {
        const size_t colon = text.find(':');
        try {
          if (colon == std::string::npos || colon + 1 == text.size())
            throw std::invalid_argument(text);
          (void)parseFinite(text.substr(0, colon));
        } catch (const std::exception&) {
          throw CLI::ValidationError("--metadata-at", "expected AT:FILE, got " + text);
        }
      });
  playCommand->add_option("--companion", playCompanions, "WxH: a companion slot (repeatable)")
      ->each([](const std::string& text) {
        int w = 0, h = 0;
        char x = 0;
        if (std::sscanf(text.c_str(), "%d%c%d", &w, &x, &h) != 3 || x != 'x' || w <= 0 || h <= 0) {
          throw CLI::ValidationError("--companion", "expected WxH in pixels, got " + text);
        }
      });

  skylark::tool::DemoOptions demo;
  auto* demoCommand = app.add_subcommand(
      "demo",
      "Serve a demo ad service, play a scripted viewing through the plug-in, report every beacon");
  demoCommand->add_flag("--quick", demo.quick, "The VOD only (no live part)");
  demoCommand->add_flag("--json", demo.json, "Print the report as JSON");
  demoCommand->add_flag("--keep-serving", demo.keepServing,
                        "Leave the ad service up afterwards (Ctrl-C ends it)");
  demoCommand->add_option("--svg", demo.svg,
                          "Write an SVG picture of the timeline and the viewing to FILE");
  addPlayerOptions(*demoCommand, demo.player, demo.fast, demo.window);
  demoCommand->add_option(
      "--stream", demo.streamDirectory,
      "gst: the demo's stream, made by scripts/make-test-stream DIR --layout demo");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    app.exit(e);
    return kUsageError;
  }

  if (generateCommand->parsed()) {
    const std::map<std::string, std::pair<int, int>> sizes = {
        {"small", {3, 1}}, {"medium", {60, 4}}, {"large", {500, 4}}};
    if (!generateSize.empty())
      std::tie(generate.breaks, generate.adsPerBreak) = sizes.at(generateSize);
    return skylark::tool::runGenerate(generate, std::cout, std::cerr);
  }
  if (inspectCommand->parsed()) {
    inspect.headers = parseHeaders(inspectHeaders);
    return skylark::tool::runInspect(inspect, std::cout, std::cerr);
  }
  if (simulateCommand->parsed()) {
    simulate.headers = parseHeaders(simulateHeaders);
    if (simulate.rate == 0) {
      std::cerr << "--rate: must not be 0\n";
      return kUsageError;
    }
    for (const auto& seek : seeks) {
      const size_t colon = seek.find(':');
      simulate.seeks.emplace_back(parseFinite(seek.substr(0, colon)),
                                  parseFinite(seek.substr(colon + 1)));
    }
    return skylark::tool::runSimulate(simulate, std::cout, std::cerr);
  }
  if (demoCommand->parsed()) {
    std::signal(SIGINT, interrupt);
    return skylark::tool::runDemo(demo, gInterrupted, std::cout, std::cerr);
  }
  if (playCommand->parsed()) {
    play.headers = parseHeaders(playHeaders);
    play.seeks = parsePairs(playSeeks);
    play.pauses = parsePairs(playPauses);
    play.rates = parsePairs(playRates);
    play.adsParams = parseKeyValues(playAdsParams);
    for (const auto& text : playMetadata) {
      const size_t colon = text.find(':');
      play.metadata.emplace_back(parseFinite(text.substr(0, colon)), text.substr(colon + 1));
    }
    for (const auto& text : playCompanions) {
      int w = 0, h = 0;
      std::sscanf(text.c_str(), "%dx%d", &w, &h);
      play.companions.emplace_back(w, h);
    }
    return skylark::tool::runPlay(play, std::cout, std::cerr);
  }
  if (liveCommand->parsed()) {
    live.adsParams = parseKeyValues(adsParams);
    std::signal(SIGINT, interrupt);
    return skylark::tool::runLive(live, gInterrupted, std::cout, std::cerr);
  }
  return kUsageError;
}
