#include "InspectCommand.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <future>
#include <iostream>

#include "CommandLine.h"
#include "LocalSource.h"
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
  auto bytes = readLocalSource(source);
  if (!bytes.ok()) return bytes.error();
  return SKYLSource::initWithVMAPXMLData(std::move(bytes).value(), {});
}

bool hasAds(const SKYLVelaTimeline& timeline) {
  const auto sequences = timeline.adSequences();
  return sequences && std::any_of(sequences->begin(), sequences->end(),
                                  [](const auto& sequence) { return !sequence->ads().empty(); });
}

bool hasVMAPRoot(const std::shared_ptr<const std::string>& bytes) {
  if (!bytes) return true;  // live and placeholder timelines have no document
  auto document = SKYLVelaXMLDocument::XMLDocumentWithData(*bytes);
  if (!document.ok()) return false;
  const auto root = document.value()->rootElement();
  return root && root->tag() == "VMAP";
}

// Why a timeline has no ad, with the HTTP status of a download.
std::string whyEmpty(const SKYLVelaTimeline& timeline, std::optional<long> httpStatus) {
  std::vector<std::string> facts;
  if (httpStatus) facts.push_back("HTTP " + std::to_string(*httpStatus));
  std::string why = "the document has no ad";
  if (!hasVMAPRoot(timeline.vmapResponseData())) {
    why = "not a VMAP document";
    facts.push_back("its root element is not VMAP");
  }
  for (size_t i = 0; i < facts.size(); ++i) why += (i == 0 ? " (" : "; ") + facts[i];
  return facts.empty() ? why : why + ")";
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
  } else if (!hasAds(*timeline)) {
    // The parse stands (an empty timeline), but a person wants to know why.
    err << "warning: " << whyEmpty(*timeline, loader->responseStatusCode())
        << ": the timeline is empty\n";
  }
  return timeline;
}

int runInspect(const InspectOptions& options, std::ostream& out, std::ostream& err) {
  const auto timeline = loadTimeline(options.source, options.headers, options.json, out, err);
  if (!timeline) return 1;
  // Neither an ad nor a stream: nothing a player could use.
  const int status = hasAds(*timeline) || timeline->velaURL() ? 0 : 1;
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
  return status;
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
