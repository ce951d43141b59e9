#include "linux/vcam/PipeWireNode.h"

#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {
namespace {

constexpr timespec kNodeRepeat{1, 0};

struct Offer {
  spa_video_format id;
  RawVideoFormat format;
};
/// In the order of our liking.
constexpr std::array<Offer, 3> kOffers{{{SPA_VIDEO_FORMAT_NV12, RawVideoFormat::nv12},
                                        {SPA_VIDEO_FORMAT_I420, RawVideoFormat::i420},
                                        {SPA_VIDEO_FORMAT_YUY2, RawVideoFormat::yuy2}}};

std::int64_t monotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/// Memory for the parameters of one call.
struct PodSpace {
  std::array<std::uint8_t, 2048> bytes;
  spa_pod_builder builder;
  PodSpace() : builder{} { spa_pod_builder_init(&builder, bytes.data(), bytes.size()); }
};

/// Readers that go by single values leave out a format with a choice of sizes or formats, so each
/// one is an object of its own with nothing left open.
const spa_pod* offeredFormat(PodSpace& space, spa_video_format id) {
  spa_video_info_raw info{};
  info.format = id;
  info.size = {kVirtualCameraWidth, kVirtualCameraHeight};
  info.framerate = {kVirtualCameraFrameRate, 1};
  return spa_format_video_raw_build(&space.builder, SPA_PARAM_EnumFormat, &info);
}

const spa_pod* neededBuffers(PodSpace& space, RawVideoFormat format) {
  return static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &space.builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
      SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
      SPA_PARAM_BUFFERS_size, SPA_POD_Int(static_cast<int>(rawVideoBytes(format))),
      SPA_PARAM_BUFFERS_stride, SPA_POD_Int(rawVideoStride(format)), SPA_PARAM_BUFFERS_dataType,
      SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd)));
}

const spa_pod* neededHeader(PodSpace& space) {
  return static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &space.builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
      SPA_POD_Id(SPA_META_Header), SPA_PARAM_META_size,
      SPA_POD_Int(static_cast<int>(sizeof(spa_meta_header)))));
}

pw_properties* nodeProperties() {
  return pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_TYPE, "Video",
                           PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
                           PW_KEY_NODE_NAME, kPipeWireNodeName, PW_KEY_NODE_DESCRIPTION,
                           kVirtualCameraName, nullptr);
}

PipeWireNode* nodeOf(void* self) {
  return static_cast<PipeWireNode*>(self);
}

}  // namespace

const pw_core_events PipeWireNode::kCoreEvents = [] {
  pw_core_events handlers{};
  handlers.version = PW_VERSION_CORE_EVENTS;
  handlers.error = [](void* self, std::uint32_t id, int, int result, const char* message) {
    // An error of another object reaches the stream, which says so by its state.
    if (id == PW_ID_CORE) nodeOf(self)->lose(message ? message : std::strerror(-result));
  };
  return handlers;
}();

const pw_stream_events PipeWireNode::kStreamEvents = [] {
  pw_stream_events handlers{};
  handlers.version = PW_VERSION_STREAM_EVENTS;
  handlers.state_changed = [](void* self, pw_stream_state, pw_stream_state state,
                              const char* error) { nodeOf(self)->changeState(state, error); };
  handlers.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
    if (id == SPA_PARAM_Format) nodeOf(self)->changeFormat(param);
  };
  handlers.process = [](void* self) { nodeOf(self)->fillBuffer(); };
  return handlers;
}();

std::unique_ptr<PipeWireNode> PipeWireNode::create(pw_context* context, UniqueFd connection,
                                                   const LatestPicture& pictures, Events events) {
  std::unique_ptr<PipeWireNode> node(
      new PipeWireNode(pw_context_get_main_loop(context), pictures, std::move(events)));
  if (!node->open(context, std::move(connection))) node->lose(std::strerror(errno));
  return node;
}

bool PipeWireNode::open(pw_context* context, UniqueFd connection) {
  repeatTimer = pw_loop_add_timer(
      loop, [](void* self, std::uint64_t) { nodeOf(self)->show(); }, this);
  if (!repeatTimer) return false;
  core = pw_context_connect_fd(context, connection.release(), nullptr, 0);
  if (!core) return false;
  pw_core_add_listener(core, &coreHook, &kCoreEvents, this);
  stream = pw_stream_new(core, kVirtualCameraName, nodeProperties());
  if (!stream) return false;
  pw_stream_add_listener(stream, &streamHook, &kStreamEvents, this);

  std::array<PodSpace, kOffers.size()> spaces;
  std::array<const spa_pod*, kOffers.size()> formats{};
  for (std::size_t i = 0; i < kOffers.size(); ++i)
    formats[i] = offeredFormat(spaces[i], kOffers[i].id);
  const int result = pw_stream_connect(
      stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
      static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS),
      formats.data(), formats.size());
  if (result < 0) errno = -result;
  return result >= 0;
}

PipeWireNode::~PipeWireNode() {
  if (stream) {
    spa_hook_remove(&streamHook);
    pw_stream_destroy(stream);
  }
  if (core) {
    spa_hook_remove(&coreHook);
    pw_core_disconnect(core);
  }
  if (repeatTimer) pw_loop_destroy_source(loop, repeatTimer);
}

void PipeWireNode::lose(const std::string& reason) {
  if (std::exchange(ended, true)) return;
  streaming = false;
  events.lost(reason);
}

void PipeWireNode::changeState(pw_stream_state state, const char* error) {
  if (ended) return;
  if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)
    return lose(error ? error : "it has removed the camera");
  if (state == PW_STREAM_STATE_CONNECTING) return;
  events.listed();
  streaming = state == PW_STREAM_STATE_STREAMING;
  events.watched(streaming);
  show();
}

void PipeWireNode::changeFormat(const spa_pod* agreed) {
  format.reset();
  spa_video_info_raw info{};
  if (!agreed || spa_format_video_raw_parse(agreed, &info) < 0) return;
  for (const auto& offer : kOffers)
    if (offer.id == info.format) format = offer.format;
  if (!format) return;
  PodSpace buffers;
  PodSpace header;
  std::array<const spa_pod*, 2> needs{neededBuffers(buffers, *format), neededHeader(header)};
  pw_stream_update_params(stream, needs.data(), needs.size());
}

void PipeWireNode::show() {
  if (!streaming) return;
  auto wait = kNodeRepeat;
  pw_loop_update_timer(loop, repeatTimer, &wait, nullptr, false);
  // When a reader drives the graph, it asks for pictures at its own pace. When we do, each picture
  // starts a cycle, whether or not the last one has ended: one reader that never ends it must not
  // keep the others waiting.
  if (pw_stream_is_driving(stream)) pw_stream_trigger_process(stream);
}

void PipeWireNode::fillBuffer() {
  // None is free while every reader still looks at what it was given: this picture is lost.
  pw_buffer* taken = pw_stream_dequeue_buffer(stream);
  if (!taken) return;
  fill(*taken->buffer);
  pw_stream_queue_buffer(stream, taken);
}

void PipeWireNode::fill(spa_buffer& buffer) {
  auto& block = buffer.datas[0];
  const std::size_t bytes = format ? rawVideoBytes(*format) : 0;
  const bool fits = bytes > 0 && block.data && block.maxsize >= bytes;
  if (fits) writeRawVideo(*pictures.get(), *format, static_cast<std::uint8_t*>(block.data));
  block.chunk->offset = 0;
  block.chunk->size = fits ? static_cast<std::uint32_t>(bytes) : 0;
  block.chunk->stride = fits ? rawVideoStride(*format) : 0;
  block.chunk->flags = fits ? 0 : SPA_CHUNK_FLAG_CORRUPTED;
  auto* header = static_cast<spa_meta_header*>(
      spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)));
  if (!header) return;
  // Of the moment of handing it on: a picture that is repeated needs a time of its own.
  *header = {.flags = fits ? 0u : SPA_META_HEADER_FLAG_CORRUPTED,
             .offset = 0,
             .pts = monotonicNanoseconds(),
             .dts_offset = 0,
             .seq = pictureNumber++};
}

}  // namespace quorvex
