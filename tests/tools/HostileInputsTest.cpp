// The tool against inputs meant to break it: each run must end on its own
// (a hang shows as the kill switch's status 124), with the exit status and
// the message of the case, never an abort.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/VMAPFixtures.h"
#include "xml/SKYLVelaXMLDocument.h"

namespace skylark::tool {
namespace {

const std::string kSample = std::string(SKYLARK_SOURCE_DIR) + "/samples/vod-sample.vmap.xml";

struct ToolRun {
  int status = -1;
  std::string out;
};

// Runs the tool with a kill switch far beyond what any case needs.
ToolRun runTool(const std::string& arguments) {
  // One file a test: ctest runs the tests of this file side by side.
  const std::string outPath = ::testing::TempDir() + "skylark-hostile-" +
                              ::testing::UnitTest::GetInstance()->current_test_info()->name() +
                              ".out";
  const std::string command =
      "timeout 60 " + std::string(SKYLARK_TOOL_PATH) + " " + arguments + " > " + outPath + " 2>&1";
  const int raw = std::system(command.c_str());
  ToolRun run;
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  run.out = test::readFile(outPath);
  std::remove(outPath.c_str());
  return run;
}

std::string writeTemp(const std::string& name, const std::string& bytes) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

struct Case {
  std::string arguments;
  int status;
  std::string outputHas;
};

void expectRuns(const std::vector<Case>& cases) {
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ToolRun run = runTool(c.arguments);
    EXPECT_EQ(run.status, c.status) << run.out.substr(0, 2000);
    EXPECT_NE(run.out.find(c.outputHas), std::string::npos) << run.out.substr(0, 2000);
  }
}

// Sources that are not documents end in an error that names the cause,
// read no further than the limit of a download.
TEST(HostileInputsTest, UnreadableAndEndlessSourcesAreErrorsWithTheirCause) {
  const std::string dir = ::testing::TempDir();
  expectRuns({
      {"play " + dir, 1, "could not be read: it is a directory"},
      {"inspect " + dir, 1, "could not be read: it is a directory"},
      {"play /dev/zero", 1, "is larger than 16 MiB"},
      {"play /dev/urandom", 1, "is larger than 16 MiB"},
      {"inspect /dev/zero", 1, "is larger than 16 MiB"},
      {"play " + kSample + " --live --metadata-at 1:/dev/zero --until 2", 1,
       "The file /dev/zero could not be read: it is larger than 16 MiB"},
      {"play " + kSample + " --live --metadata-at 1:" + dir + " --until 2", 1, "it is a directory"},
  });
}

// The generator refuses documents larger than the tools accept.
TEST(HostileInputsTest, TheGeneratorStaysWithinWhatTheParserAccepts) {
  expectRuns({
      {"generate --breaks 100000 --ads-per-break 100 -o /dev/null", 2, "--breaks"},
      {"generate --breaks 2000 -o /dev/null", 2, "--breaks"},
      {"generate --breaks 1000 --ads-per-break 3 -o /dev/null", 2,
       "1000 breaks x 3 ads is more than the 2000 ads"},
      {"generate --size large -o /dev/null", 0, "warning: more than 1300 ads"},
      {"generate --breaks 1199 -o /dev/null", 0, "1199 breaks x 1 ads"},
      {"generate --breaks 1200 -o /dev/null", 2, "--breaks"},
      {"generate --help", 0, "up to 1300 keeps the document under the 16 MiB"},
  });
}

// A playhead that cannot move ends the run with a line that says so; a
// long pause costs nothing.
TEST(HostileInputsTest, PlayEndsWhenThePlayheadCannotMove) {
  expectRuns({
      {"play " + kSample + " --rate 0", 0, "the playhead stopped at 0.000 s"},
      {"play " + kSample + " --rate-at 1:0", 0, "the playhead stopped at 1.000 s"},
      // Backwards from the end, stopped where the pre-roll ends.
      {"play " + kSample + " --rate -1", 0, "the playhead stopped at 30.000 s"},
      {"play " + kSample + " --rate-at 5:-2", 0, "the playhead stopped at 5.000 s"},
      {"play " + kSample + " --rate 1e-300", 0, "the playhead stopped at 0.000 s"},
      {"play " + kSample + " --step 1e-300", 0, "the playhead cannot move"},
      {"play " + kSample + " --rate-at 100:-1000", 0, "the playhead stopped at 30.000 s"},
      {"play " + kSample + " --pause-at 1:1e9", 0, "660.000  content   600.000  End"},
  });
}

// Bytes that are not UTF-8 in a document reach JSON and SVG output as
// U+FFFD; the output stays well-formed.
TEST(HostileInputsTest, InvalidUTF8InADocumentKeepsJSONAndSVGWellFormed) {
  std::string vmap = test::readFile(kSample);
  vmap.replace(vmap.find("Mountain Coffee"), 15, "Mountain \xff\xfe Coffee");
  vmap.replace(vmap.find("<Ad id=\"pre-1\">"), 15, "<Ad id=\"pre\xff\xfe-1\">");
  const std::string path = writeTemp("skylark-hostile-utf8.xml", vmap);
  const std::string svg = ::testing::TempDir() + "skylark-hostile.svg";

  const ToolRun json = runTool("play " + path + " --json --until 20");
  ASSERT_EQ(json.status, 0) << json.out.substr(0, 2000);
  std::istringstream lines(json.out);
  size_t replaced = 0;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    if (line.find("Mountain \xef\xbf\xbd\xef\xbf\xbd Coffee") != std::string::npos) ++replaced;
  }
  EXPECT_GT(replaced, 0u);

  const ToolRun picture = runTool("play " + path + " --until 20 --svg " + svg);
  ASSERT_EQ(picture.status, 0) << picture.out.substr(0, 2000);
  const std::string bytes = test::readFile(svg);
  EXPECT_TRUE(SKYLVelaXMLDocument::XMLDocumentWithData(bytes).ok());
  EXPECT_NE(bytes.find("pre\xef\xbf\xbd\xef\xbf\xbd-1"), std::string::npos);
  std::remove(path.c_str());
  std::remove(svg.c_str());
}

// Ctrl-C during the demo's live part ends it at once, with its report.
TEST(HostileInputsTest, InterruptingTheDemoEndsItAtOnceWithItsReport) {
  const std::string outPath = ::testing::TempDir() + "skylark-demo-interrupted.out";
  const pid_t pid = ::fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    const int fd = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(fd, STDOUT_FILENO);
    ::dup2(fd, STDERR_FILENO);
    ::execl(SKYLARK_TOOL_PATH, SKYLARK_TOOL_PATH, "demo", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  using Clock = std::chrono::steady_clock;
  const auto live = Clock::now() + std::chrono::seconds(60);
  while (test::readFile(outPath).find("\nLive:") == std::string::npos && Clock::now() < live) {
    std::this_thread::yield();
  }
  ::kill(pid, SIGINT);
  // It took the rest of the live part (8 s and more) before.
  const auto deadline = Clock::now() + std::chrono::seconds(3);
  int status = 0;
  while (::waitpid(pid, &status, WNOHANG) == 0 && Clock::now() < deadline) {
    std::this_thread::yield();
  }
  const bool ended = ::waitpid(pid, &status, WNOHANG) != 0 || WIFEXITED(status);
  if (!ended) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
  }
  EXPECT_TRUE(ended) << "still running 3 s after Ctrl-C";
  const std::string out = test::readFile(outPath);
  EXPECT_NE(out.find("Report: each expected beacon"), std::string::npos) << out;
  std::remove(outPath.c_str());
}

}  // namespace
}  // namespace skylark::tool
