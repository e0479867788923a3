// skylark-ssai: the library's command-line tool.
//
//   skylark-ssai inspect SOURCE [--header NAME:VALUE]... [--json]
//
// Exit codes: 0 success, 1 the work failed, 2 usage error.
#include <iostream>

#include <CLI/CLI.hpp>

#include "InspectCommand.h"

namespace {

constexpr int kUsageError = 2;

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Skylark SSAI: server-side ad insertion tools"};
  app.require_subcommand(1);

  skylark::tool::InspectOptions inspect;
  std::vector<std::string> headers;
  auto* inspectCommand =
      app.add_subcommand("inspect", "Print the ad timeline of a VMAP document");
  inspectCommand->add_option("SOURCE", inspect.source, "A file path or an http(s) URL")
      ->required();
  inspectCommand
      ->add_option("--header", headers,
                   "NAME:VALUE sent with the download (repeatable; a default User-Agent is "
                   "sent unless one is given)")
      ->each([](const std::string& header) {
        if (header.find(':') == std::string::npos || header.front() == ':') {
          throw CLI::ValidationError("--header", "expected NAME:VALUE, got " + header);
        }
      });
  inspectCommand->add_flag("--json", inspect.json, "Print one JSON object");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    app.exit(e);
    return kUsageError;
  }

  if (inspectCommand->parsed()) {
    for (const auto& header : headers) {
      const size_t colon = header.find(':');
      std::string value = header.substr(colon + 1);
      value.erase(0, value.find_first_not_of(' '));
      inspect.headers.emplace_back(header.substr(0, colon), value);
    }
    return skylark::tool::runInspect(inspect, std::cout, std::cerr);
  }
  return kUsageError;
}
