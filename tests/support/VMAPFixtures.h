#pragma once

#include <fstream>
#include <sstream>
#include <string>

namespace skylark::test {

// A VMAP document with the ad service's "sk" extension around the given
// AdBreak elements.
inline std::string vmapDocument(const std::string& breaks, double payload = 1000,
                                double content = 940) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" xmlns:sk="http://example.com/sk" version="1.0">
)" + breaks +
         R"(
  <vmap:Extensions>
    <sk:Skylark contenturi="https://cdn.example.com/stream.m3u8" payloadlength=")" +
         std::to_string(payload) + R"(" contentlength=")" + std::to_string(content) + R"("/>
    <sk:thumbnailURL>
      https://cdn.example.com/thumbs.vtt
    </sk:thumbnailURL>
    <sk:contentImpressions>
      <sk:Impression url="https://beacon.example.com/content/1" time="10"/>
      <sk:Impression url="https://beacon.example.com/content/bad" time="soon"/>
    </sk:contentImpressions>
  </vmap:Extensions>
</vmap:VMAP>)";
}

// An AdBreak holding one inline VAST ad; `linearExtra` goes inside Linear,
// `inLineExtra` inside InLine.
inline std::string adBreak(const std::string& offset, const std::string& duration,
                           const std::string& id = "ad", const std::string& linearExtra = "",
                           const std::string& inLineExtra = "") {
  return R"(  <vmap:AdBreak timeOffset=")" + offset + R"(" breakType="linear" breakId="b-)" + id +
         R"(">
    <vmap:AdSource><vmap:VASTAdData><VAST version="3.0"><Ad id=")" +
         id +
         R"("><InLine>
      <AdTitle> Title )" +
         id + R"( </AdTitle>
      <Impression><![CDATA[ https://beacon.example.com/imp/)" +
         id + R"( ]]></Impression>
      <Creatives><Creative><Linear>
        <Duration>)" +
         duration + R"(</Duration>)" + linearExtra + R"(
      </Linear></Creative></Creatives>)" +
         inLineExtra + R"(
    </InLine></Ad></VAST></vmap:VASTAdData></vmap:AdSource>
    <vmap:TrackingEvents>
      <vmap:Tracking event="breakStart">https://beacon.example.com/break/start/)" +
         id + R"(</vmap:Tracking>
      <vmap:Tracking event="breakEnd">https://beacon.example.com/break/end/)" +
         id + R"(</vmap:Tracking>
    </vmap:TrackingEvents>
  </vmap:AdBreak>
)";
}

// A bare VAST document wrapped into a one-break VMAP document (its XML
// declaration dropped).
inline std::string wrapVAST(std::string vast, const std::string& offset = "start") {
  if (vast.rfind("<?xml", 0) == 0) vast.erase(0, vast.find("?>") + 2);
  return vmapDocument(R"(  <vmap:AdBreak timeOffset=")" + offset +
                      R"(" breakType="linear"><vmap:AdSource><vmap:VASTAdData>)" + vast +
                      R"(</vmap:VASTAdData></vmap:AdSource></vmap:AdBreak>)");
}

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

}  // namespace skylark::test
