#pragma once

// What the tool's commands share on the command line: how a command plugs
// into the tool, and the validators and parsers of the option shapes more
// than one command takes.

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "PlayCommand.h"
#include "platform/URLSession.h"

namespace skylark::tool {

// Exit codes: 0 success, 1 the work failed, 2 usage error.
inline constexpr int kUsageError = 2;

// A command of the tool: its subcommand, whose options it registered, and
// what runs once the command line named it and parsed. run returns the
// exit code.
struct Command {
  CLI::App* subcommand = nullptr;
  std::function<int()> run;
};

// Each command adds itself to the tool's command line.
using CommandRegistration = Command (*)(CLI::App& app);

// True once SIGINT arrived, after a command asked to be told
// (catchInterrupts); the commands that run until stopped read it.
const std::atomic<bool>& catchInterrupts();

// Seconds and rates the tool can compute with: finite, and small enough
// that no clock arithmetic overflows (a billion seconds is 31 years).
// Throws std::invalid_argument otherwise.
double parseFinite(const std::string& text);
CLI::Validator finiteNumber(bool positive, bool allowZero);

// "A:B" of two finite numbers.
std::function<void(const std::string&)> pairValidator(std::string option, std::string shape);
std::vector<std::pair<double, double>> parsePairs(const std::vector<std::string>& texts);

// "K=V" with a key.
void checkKeyValue(const std::string& param);
std::map<std::string, std::string> parseKeyValues(const std::vector<std::string>& params);

// --header NAME:VALUE, repeatable.
void addHeaderOption(CLI::App& command, std::vector<std::string>& headers);
HTTPHeaderFields parseHeaders(const std::vector<std::string>& headers);

// --macros, --no-snapback, --start-at CONTENT_SECONDS, --played-breaks
// replay|skip: the session options beyond the plug-in's own behaviour.
void addSessionOptionFlags(CLI::App& command, PlayOptions& options);

// --player simulated|gst, --fast, --window.
void addPlayerOptions(CLI::App& command, PlayerKind& kind, bool& fast, bool& window);

}  // namespace skylark::tool
