#include "service/SwapSettings.h"

namespace quorvex::service {
namespace {

void takeTargetFace(const JsonMembers& from, SwapSettings& to) {
  const std::string& b64 = from.text("target_face_b64");
  to.face = b64.empty() ? nullptr : decodedFace(b64);
  if (!to.face && !b64.empty())
    throw Refusal{400,
                  "member \"target_face_b64\" must be a JPEG of at most 4096 pixels a side, in "
                  "standard base64 without line breaks, or empty"};
}

}  // namespace

void SwapSettings::takeFace(const JsonMembers& config) {
  config.allowOnly({"target_face_b64", "enhance"});
  SwapSettings next = *this;
  takeTargetFace(config, next);
  next.enhance = config.flag("enhance");
  *this = std::move(next);
}

void SwapSettings::takeUpdate(const JsonMembers& config) {
  config.allowOnly({"target_face_b64", "enhance", "mouth_mask", "paused"});
  if (config.isEmpty()) throw Refusal{400, "member \"config\" must hold at least one setting"};
  SwapSettings next = *this;
  if (config.has("target_face_b64")) takeTargetFace(config, next);
  if (config.has("enhance")) next.enhance = config.flag("enhance");
  if (config.has("mouth_mask")) next.mouthMask = config.flag("mouth_mask");
  if (config.has("paused")) next.paused = config.flag("paused");
  *this = std::move(next);
}

}  // namespace quorvex::service
