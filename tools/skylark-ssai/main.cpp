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
#include <CLI/CLI.hpp>

#include "CommandLine.h"
#include "DemoCommand.h"
#include "GenerateCommand.h"
#include "InspectCommand.h"
#include "LiveCommand.h"
#include "PlayCommand.h"
#include "ServeLiveCommand.h"
#include "SimulateCommand.h"
#include "platform/PlatformShutdown.h"

namespace {

using skylark::tool::Command;
using skylark::tool::CommandRegistration;

constexpr CommandRegistration kCommands[] = {
    skylark::tool::addInspectCommand,   skylark::tool::addSimulateCommand,
    skylark::tool::addGenerateCommand,  skylark::tool::addLiveCommand,
    skylark::tool::addPlayCommand,      skylark::tool::addDemoCommand,
    skylark::tool::addServeLiveCommand,
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Skylark SSAI: server-side ad insertion tools"};
  app.require_subcommand(1);
  std::vector<Command> commands;
  for (const auto add : kCommands) commands.push_back(add(app));
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    app.exit(e);
    return skylark::tool::kUsageError;
  }
  for (const auto& command : commands) {
    if (!command.subcommand->parsed()) continue;
    const int status = command.run();
    // Nothing may run on other threads while static objects are destroyed.
    skylark::shutdownPlatform();
    return status;
  }
  return skylark::tool::kUsageError;
}
