// Bytes as ad parameters to the session-init body encoder: any text an
// application passes (invalid UTF-8 included) gives a body or the encoder's
// error, never an exception or a crash.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "live2/SKYLSSAILive2Session.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace skylark;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // Lines of KEY=VALUE.
  std::map<std::string, std::string> params;
  size_t start = 0;
  while (start <= text.size()) {
    const size_t end = std::min(text.find('\n', start), text.size());
    const std::string_view line = text.substr(start, end - start);
    const size_t equals = line.find('=');
    params[std::string(line.substr(0, equals))] =
        equals == std::string_view::npos ? "" : std::string(line.substr(equals + 1));
    start = end + 1;
  }
  const auto body = SKYLSSAILive2SessionRequest{params}.encode();
  if (body.ok() && body.value().empty()) __builtin_trap();
  return 0;
}
