#include "linux/webrtc/NativeFactory.h"

#include "api/audio_codecs/builtin_audio_decoder_factory.h"
#include "api/audio_codecs/builtin_audio_encoder_factory.h"
#include "api/create_peerconnection_factory.h"
#include "api/task_queue/default_task_queue_factory.h"
#include "api/video_codecs/builtin_video_decoder_factory.h"
#include "api/video_codecs/builtin_video_encoder_factory.h"
#include "modules/audio_device/include/audio_device.h"
#include "rtc_base/ssl_adapter.h"

#ifdef NDEBUG
#error "The WebRTC library's headers must be compiled without NDEBUG."
#endif

namespace quorvex {

std::shared_ptr<NativeFactory> NativeFactory::create(bool useLoopback) {
  rtc::InitializeSSL();
  std::shared_ptr<NativeFactory> made(new NativeFactory);
  made->network = rtc::Thread::CreateWithSocketServer();
  made->worker = rtc::Thread::Create();
  made->signaling = rtc::Thread::Create();
  made->network->SetName("rtc-network", nullptr);
  made->worker->SetName("rtc-worker", nullptr);
  made->signaling->SetName("rtc-signaling", nullptr);
  if (!made->network->Start() || !made->worker->Start() || !made->signaling->Start())
    return nullptr;

  // There is no audio on this road; the dummy module keeps the library from opening the sound card.
  auto tasks = webrtc::CreateDefaultTaskQueueFactory();
  auto audio = made->worker->BlockingCall([&] {
    return webrtc::AudioDeviceModule::Create(webrtc::AudioDeviceModule::kDummyAudio, tasks.get());
  });
  made->native = webrtc::CreatePeerConnectionFactory(
      made->network.get(), made->worker.get(), made->signaling.get(), audio,
      webrtc::CreateBuiltinAudioEncoderFactory(), webrtc::CreateBuiltinAudioDecoderFactory(),
      webrtc::CreateBuiltinVideoEncoderFactory(), webrtc::CreateBuiltinVideoDecoderFactory(),
      nullptr, nullptr);
  if (!made->native) return nullptr;
  if (useLoopback) {
    webrtc::PeerConnectionFactoryInterface::Options options;
    options.network_ignore_mask = 0;
    made->native->SetOptions(options);
  }
  // The audio module must end on the thread that made it.
  made->worker->BlockingCall([&] { audio = nullptr; });
  return made;
}

NativeFactory::~NativeFactory() {
  native = nullptr;
  if (signaling) signaling->Stop();
  if (worker) worker->Stop();
  if (network) network->Stop();
}

}  // namespace quorvex
