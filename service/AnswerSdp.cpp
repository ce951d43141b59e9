#include "service/AnswerSdp.h"

#include <set>
#include <string_view>
#include <vector>

namespace quorvex::service {
namespace {

constexpr const char* kHint = "x-google-start-bitrate=2500";  // kbit/s

std::vector<std::string_view> linesOf(std::string_view sdp) {
  std::vector<std::string_view> lines;
  while (!sdp.empty()) {
    const auto end = sdp.find("\r\n");
    lines.push_back(sdp.substr(0, end));
    sdp.remove_prefix(end == std::string_view::npos ? sdp.size() : end + 2);
  }
  return lines;
}

/// The payload type of an attribute line such as "a=rtpmap:96 VP8/90000"; empty for other lines.
std::string_view payloadOf(std::string_view line, std::string_view attribute) {
  if (!line.starts_with(attribute)) return {};
  line.remove_prefix(attribute.size());
  return line.substr(0, line.find(' '));
}

bool isVideoCodec(std::string_view rtpmap) {
  for (const char* name : {" VP8/", " VP9/", " H264/", " AV1/"})
    if (rtpmap.find(name) != std::string_view::npos) return true;
  return false;
}

}  // namespace

std::string withStartBitrate(const std::string& sdp) {
  const auto lines = linesOf(sdp);
  std::set<std::string_view> withParameters;
  for (const auto line : lines) withParameters.insert(payloadOf(line, "a=fmtp:"));
  std::set<std::string_view> codecs;
  for (const auto line : lines)
    if (isVideoCodec(line)) codecs.insert(payloadOf(line, "a=rtpmap:"));
  codecs.erase(std::string_view());

  std::string hinted;
  for (const auto line : lines) {
    hinted += line;
    if (codecs.contains(payloadOf(line, "a=fmtp:"))) hinted += std::string(";") + kHint;
    hinted += "\r\n";
    const auto payload = payloadOf(line, "a=rtpmap:");
    if (codecs.contains(payload) && !withParameters.contains(payload))
      hinted += "a=fmtp:" + std::string(payload) + " " + kHint + "\r\n";
  }
  return hinted;
}

}  // namespace quorvex::service
