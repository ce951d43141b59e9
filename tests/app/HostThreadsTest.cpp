// The host while everything that it stands on talks at once, each on its own thread.
#include <gmock/gmock.h>

#include <thread>

#include "app/HostFixture.h"
#include "support/Eventually.h"

namespace quorvex {
namespace {

class HostThreadsTest : public HostTest {
 protected:
  ~HostThreadsTest() override { threads.clear(); }

  /// Runs `step` on a thread of its own again and again.
  void keepDoing(std::function<void()> step) {
    threads.emplace_back([step = std::move(step)](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        step();
        std::this_thread::yield();
      }
    });
  }

  /// What the engine's threads call on.
  struct Session {
    std::shared_ptr<RtcVideoRenderer> renderer;
    std::weak_ptr<RtcPeerConnectionObserver> observer;
  };
  void share(Session next) {
    std::lock_guard hold(mutex);
    session = std::move(next);
  }
  Session shared() {
    std::lock_guard hold(mutex);
    return session;
  }

  void talkFromEveryThread() {
    keepDoing([this] { sinkQueue->run(); });
    keepDoing([this, grey = std::vector<std::uint8_t>(64 * 36, 90)] {
      const auto renderer = shared().renderer;
      if (!renderer) return;
      const RtcVideoFrame frame{
          .pixelBuffer = {}, .i420 = {64, 36, grey.data(), grey.data(), grey.data(), 64, 32, 32}};
      renderer->renderFrame(&frame);
      ++rendered;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    keepDoing([this] {
      const auto observer = shared().observer.lock();
      if (!observer) return;
      observer->didChangeIceConnectionState(RtcIceConnectionState::disconnected);
      observer->didGenerateIceCandidate({"candidate:1", "0", 0});
      observer->didChangeIceConnectionState(RtcIceConnectionState::connected);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    keepDoing([this] {
      (void)host->sinkStatistics();
      hostLog("somebody else");
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
  }

  /// A session from its token to its first frames, and its end by a lost socket.
  void liveOnce() {
    goLive();
    share({track->renderers.at(0), engine.last().observer});
    EXPECT_TRUE(test::eventually([this, before = rendered.load()] {
      mainQueue.advance(0.01);
      return rendered > before + 1;
    }));
    share({});
    used.insert(used.end(), {engine.peers.back(), track, sockets.opened.back()});
    sockets.last().end(1006);
    mainQueue.advance(0.1);
    track.reset();
    http.pending.clear();
    mainQueue.advance(2);
    engine.peers.clear();
    sockets.opened.clear();
  }

  std::vector<std::weak_ptr<void>> used;  ///< by the sessions, and leaked when it is still there
  std::atomic<int> rendered{0};
  std::mutex mutex;
  Session session;  // by mutex
  std::vector<std::jthread> threads;
};

TEST_F(HostThreadsTest, leavesNothingBehindAfterFiveHundredRestarts) {
  sinkRunsElsewhere = true;
  talkFromEveryThread();
  host->applicationDidFinishLaunching();
  ASSERT_TRUE(test::eventually([&] {
    mainQueue.run();
    return !http.pending.empty();
  }));
  liveOnce();
  const std::size_t timers = mainQueue.timers();
  for (int i = 0; i < 500; ++i) liveOnce();
  threads.clear();
  settle();
  EXPECT_TRUE(std::ranges::all_of(used, &std::weak_ptr<void>::expired));
  EXPECT_EQ(mainQueue.timers(), timers);
  EXPECT_EQ(engine.camera.starts, 1) << "the camera has run all the while";
  EXPECT_GT(host->sinkStatistics().enqueued + host->sinkStatistics().errors(), 0u);
}

}  // namespace
}  // namespace quorvex
