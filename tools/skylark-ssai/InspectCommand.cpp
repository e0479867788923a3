#include "InspectCommand.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <future>
#include <iostream>

#include "CommandLine.h"
#include "TimelineJSON.h"
#include "TimelineSVG.h"
#include "TimelineTable.h"
#include "entry/SKYLVUXSessionProviderOptions.h"
#include "host/SKYLSource.h"
#include "platform/ASCIICase.h"
#include "vmap/SKYLVelaTimelineLoader.h"
#include "xml/SKYLVelaXMLDocument.h"

namespace skylark::tool {
namespace {

bool looksLikeURL(const std::string& source) { return source.find("://") != std::string::npos; }

Result<std::shared_ptr<SKYLSource>> sourceFor(const std::string& source) {
  if (looksLikeURL(source)) {
    auto url = URL::parse(source);
    if (!url) return SKYLError("NSURLErrorDomain", kURLErrorUnsupportedURL, "Not a URL: " + source);
    return SKYLSource::initWithURL(std::move(url), std::nullopt, {});
  }
  std::ifstream file(source, std::ios::binary);
  if (!file) {
    return SKYLError("NSCocoaErrorDomain", 260, "The file " + source + " could not be read.");
  }
  // Files get the same cap as downloads: /dev/zero is a file too.
  const size_t limit = URLSession::Configuration().maximumBodyBytes;
  std::string bytes(limit + 1, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(file.gcount()));
  if (bytes.size() > limit) {
    return SKYLError("NSCocoaErrorDomain", 260,
                     "The file " + source + " is larger than " + std::to_string(limit >> 20) +
                         " MiB, the most an ad document may be.");
  }
  return SKYLSource::initWithVMAPXMLData(std::move(bytes), {});
}

bool hasVMAPRoot(const std::shared_ptr<const std::string>& bytes) {
  if (!bytes) return true;  // live and placeholder timelines have no document
  auto document = SKYLVelaXMLDocument::XMLDocumentWithData(*bytes);
  if (!document.ok()) return false;
  const auto root = document.value()->rootElement();
  return root && root->tag() == "VMAP";
}

void printError(const SKYLError& error, bool json, std::ostream& out, std::ostream& err) {
  if (json) {
    out << jsonText(errorJSON(error), 2) << "\n";
  } else {
    err << "error: " << error.domain << " " << error.code << ": " << errorText(error) << "\n";
  }
}

}  // namespace

HTTPHeaderFields requestHeaders(const HTTPHeaderFields& given) {
  HTTPHeaderFields headers;
  const bool hasUserAgent = std::any_of(given.begin(), given.end(), [](const auto& header) {
    return equalsIgnoringASCIICase(header.first, "User-Agent");
  });
  if (!hasUserAgent) headers = SKYLVUXSessionProviderOptions().httpHeaders();
  headers.insert(headers.end(), given.begin(), given.end());
  return headers;
}

std::shared_ptr<SKYLVelaTimeline> loadTimeline(const std::string& sourceText,
                                               const HTTPHeaderFields& headers, bool json,
                                               std::ostream& out, std::ostream& err) {
  auto source = sourceFor(sourceText);
  if (!source.ok()) {
    printError(source.error(), json, out, err);
    return nullptr;
  }
  auto loader = SKYLVelaTimelineLoader::initWithSource(source.value());
  loader->setHttpHeaders(requestHeaders(headers));
  std::promise<void> loaded;
  loader->load([&loaded](auto) { loaded.set_value(); });
  loaded.get_future().wait();
  const auto timeline = loader->resultTimeline();
  if (!timeline) {
    printError(loader->error().value_or(SKYLError("SKYLVelaErrorDomain", 4011, "No timeline.")),
               json, out, err);
  } else if (!hasVMAPRoot(timeline->vmapResponseData())) {
    // The parse stands (an empty timeline), but a person wants to know why.
    err << "warning: not a VMAP document (its root element is not VMAP): the timeline is empty\n";
  }
  return timeline;
}

int runInspect(const InspectOptions& options, std::ostream& out, std::ostream& err) {
  const auto timeline = loadTimeline(options.source, options.headers, options.json, out, err);
  if (!timeline) return 1;
  if (options.json) {
    out << jsonText(timelineJSON(*timeline), 2) << "\n";
  } else {
    printTimelineTable(*timeline, out);
  }
  if (options.svg) {
    std::ofstream file(*options.svg);
    file << timelineSVG(*timeline);
    if (!file) {
      err << "error: could not write " << *options.svg << "\n";
      return 1;
    }
  }
  return 0;
}

Command addInspectCommand(CLI::App& app) {
  auto options = std::make_shared<InspectOptions>();
  auto headers = std::make_shared<std::vector<std::string>>();
  auto* command = app.add_subcommand("inspect", "Print the ad timeline of a VMAP document");
  command->add_option("SOURCE", options->source, "A file path or an http(s) URL")->required();
  addHeaderOption(*command, *headers);
  command->add_flag("--json", options->json, "Print one JSON object");
  command->add_option("--svg", options->svg, "Also write an SVG picture of the timeline to FILE");
  return {command, [options, headers] {
            options->headers = parseHeaders(*headers);
            return runInspect(*options, std::cout, std::cerr);
          }};
}

}  // namespace skylark::tool
