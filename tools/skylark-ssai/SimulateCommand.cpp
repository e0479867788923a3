#include "SimulateCommand.h"

#include <iostream>

#include "CommandLine.h"
#include "PlayCommand.h"

namespace skylark::tool {

int runSimulate(const SimulateOptions& options, std::ostream& out, std::ostream& err) {
  PlayOptions play;
  play.source = options.source;
  play.headers = options.headers;
  play.step = options.step;
  play.rate = options.rate;
  play.until = options.until;
  play.playerSeeks = options.seeks;
  play.skips = options.skips;
  play.fire = options.fire;
  play.json = options.json;
  play.view = PlayView::trackerEvents;
  return runPlay(play, out, err);
}

Command addSimulateCommand(CLI::App& app) {
  auto options = std::make_shared<SimulateOptions>();
  auto headers = std::make_shared<std::vector<std::string>>();
  auto seeks = std::make_shared<std::vector<std::string>>();
  auto* command = app.add_subcommand("simulate",
                                     "Play a document through the session on a simulated player, "
                                     "printing its tracker events and beacons");
  command->add_option("SOURCE", options->source, "A file path or an http(s) URL")->required();
  addHeaderOption(*command, *headers);
  command->add_option("--step", options->step, "Seconds per update at rate 1 (0.25)")
      ->check(finiteNumber(true, false));
  command->add_option("--rate", options->rate, "Playback rate; negative plays backwards")
      ->check(finiteNumber(false, false));
  command->add_option("--until", options->until, "Stop at this absolute time (seconds)")
      ->check(finiteNumber(false, false));
  command
      ->add_option("--seek-at", *seeks,
                   "AT:TO: at playhead AT, the player seeks to TO (absolute seconds)")
      ->each(pairValidator("--seek-at", "AT:TO"));
  command->add_option("--skip-at", options->skips, "At playhead AT, press the ad's skip button")
      ->check(finiteNumber(false, false));
  command->add_flag("--fire", options->fire, "Send the beacons (otherwise only report)");
  command->add_flag("--json", options->json, "Print one JSON object per line");
  return {command, [options, headers, seeks] {
            options->headers = parseHeaders(*headers);
            if (options->rate == 0) {
              std::cerr << "--rate: must not be 0\n";
              return kUsageError;
            }
            options->seeks = parsePairs(*seeks);
            return runSimulate(*options, std::cout, std::cerr);
          }};
}

}  // namespace skylark::tool
