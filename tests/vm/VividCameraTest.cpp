#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>

#include "cameras/CaughtFrames.h"
#include "linux/cameras/CameraThread.h"
#include "linux/cameras/V4l2Camera.h"
#include "linux/cameras/V4l2Pixels.h"

// Run in a virtual machine (cameras.sh) whose only camera is the kernel's own test driver, vivid.
namespace quorvex {
namespace {

void writeTo(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  ASSERT_TRUE(file) << path;
}

void unplug() {
  writeTo("/sys/bus/platform/drivers/vivid/unbind", "vivid.0");
}
void plugIn() {
  writeTo("/sys/bus/platform/drivers/vivid/bind", "vivid.0");
}

// Sets one of the driver's own controls, which make it misbehave.
void setControl(const std::string& name, int value) {
  const int fd = open("/dev/video0", O_RDWR | O_CLOEXEC);
  v4l2_queryctrl query{};
  query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
  while (ioctl(fd, VIDIOC_QUERYCTRL, &query) == 0) {
    if (name == reinterpret_cast<const char*>(query.name)) break;
    query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
  }
  v4l2_control control{query.id, value};
  EXPECT_EQ(ioctl(fd, VIDIOC_S_CTRL, &control), 0) << name << ": " << std::strerror(errno);
  close(fd);
}

class VividCameraTest : public testing::Test {
 protected:
  void SetUp() override {
    devices = camera.captureDevices();
    ASSERT_EQ(devices.size(), 1u);
    formats = camera.supportedFormats(devices.front());
  }

  void start(CaughtFrames& into, FourCharCode pixelFormat = 0, int width = 640, int height = 480) {
    const auto format = std::find_if(formats.begin(), formats.end(), [&](const auto& some) {
      return some.width == width && some.height == height &&
             (pixelFormat == 0 || some.pixelFormat == pixelFormat);
    });
    ASSERT_NE(format, formats.end());
    camera.startCapture(devices.front(), *format, 30, into.handler(), into.completion());
  }

  void expectFramesAfter(std::size_t count) {
    EXPECT_GT(caught.waitForFrames(count + 5).size(), count + 4);
  }

  CaughtFrames caught;
  V4l2Camera camera{caught.log()};
  std::vector<CaptureDevice> devices;
  std::vector<CaptureFormat> formats;
};

TEST_F(VividCameraTest, offersEachSizeInItsCheapestFormatFirst) {
  EXPECT_EQ(devices[0].uniqueID, "/dev/video0");
  EXPECT_EQ(devices[0].name, "vivid");
  for (const auto& format : formats) {
    std::cout << format.width << "x" << format.height << " " << pixelFormatName(format.pixelFormat);
    for (const auto& range : format.videoSupportedFrameRateRanges)
      std::cout << " " << range.maxFrameRate;
    std::cout << "\n";
  }
  const auto first = std::find_if(formats.begin(), formats.end(),
                                  [](const auto& some) { return some.width == 1280; });
  ASSERT_NE(first, formats.end());
  EXPECT_EQ(first->height, 720);
  EXPECT_LE(conversionCost(first->pixelFormat), 2);
}

TEST_F(VividCameraTest, deliversPicturesInEveryFormat) {
  for (const auto& format : formats) {
    if (format.width != 1280) continue;
    SCOPED_TRACE(pixelFormatName(format.pixelFormat));
    CaughtFrames run;
    start(run, format.pixelFormat, 1280, 720);
    EXPECT_EQ(run.waitForCompletion(), "");
    const auto frames = run.waitForFrames(20);
    camera.stopCapture();
    ASSERT_GE(frames.size(), 20u);
    EXPECT_EQ(frames.back().height, 720);
    EXPECT_GT(frames.back().meanLuma, 60) << "black";
    EXPECT_LT(frames.back().meanLuma, 190) << "white";
  }
}

TEST_F(VividCameraTest, deliversAtTheRateAskedForAndSaysWhenEachPictureWasTaken) {
  start(caught, V4L2_PIX_FMT_YUYV, 320, 180);
  const auto frames = caught.waitForFrames(61);
  const auto now = monotonicNow();
  camera.stopCapture();
  ASSERT_GE(frames.size(), 61u);
  for (std::size_t i = 1; i < frames.size(); ++i)
    EXPECT_GT(frames[i].captureTime, frames[i - 1].captureTime);
  const double rate = 60e9 / static_cast<double>(frames[60].captureTime - frames[0].captureTime);
  EXPECT_NEAR(rate, 30, 0.5);
  EXPECT_LT(now - frames[60].captureTime, 200'000'000);
}

TEST_F(VividCameraTest, saysOnceThatItIsUnpluggedAndOnceThatItIsBack) {
  start(caught);
  caught.waitForFrames(10);
  unplug();
  const auto lost = caught.waitForLines(1);
  ASSERT_EQ(lost.size(), 1u);
  EXPECT_EQ(lost[0], "/dev/video0 (vivid) is not there: plug the camera in");
  const auto before = caught.waitForFrames(0).size();
  sleep(3);  // it tries again in vain meanwhile, and must keep quiet about it
  EXPECT_EQ(caught.waitForLines(0).size(), 1u);
  EXPECT_EQ(caught.waitForFrames(0).size(), before);
  plugIn();
  EXPECT_EQ(caught.waitForLines(2).back(), "vivid is back");
  expectFramesAfter(before);
}

TEST_F(VividCameraTest, stopsAtOnceWhileTheCameraIsUnplugged) {
  start(caught);
  caught.waitForFrames(1);
  unplug();
  caught.waitForLines(1);
  const auto begin = monotonicNow();
  camera.stopCapture();
  EXPECT_LT(monotonicNow() - begin, 500'000'000);
  plugIn();
}

TEST_F(VividCameraTest, beginsAStreamAgainThatDeliversNothing) {
  start(caught);
  caught.waitForFrames(5);
  setControl("Percentage of Dropped Buffers", 100);
  EXPECT_NE(caught.waitForLines(1).back().find("no whole picture for 5 seconds"),
            std::string::npos);
  const auto before = caught.waitForFrames(0).size();
  setControl("Percentage of Dropped Buffers", 0);
  EXPECT_EQ(caught.waitForLines(2).back(), "vivid is back");
  expectFramesAfter(before);
}

TEST_F(VividCameraTest, comesBackAfterAnErrorOfTheDriver) {
  start(caught);
  caught.waitForFrames(5);
  setControl("Inject Fatal Streaming Error", 1);
  EXPECT_EQ(caught.waitForLines(2).back(), "vivid is back");
  expectFramesAfter(caught.waitForFrames(0).size());
  std::cout << caught.waitForLines(0).front() << "\n";
}

TEST_F(VividCameraTest, leavesOutDamagedPicturesAndCountsThem) {
  start(caught);
  caught.waitForFrames(5);
  setControl("Inject V4L2_BUF_FLAG_ERROR", 1);
  expectFramesAfter(caught.waitForFrames(0).size() + 5);
  camera.stopCapture();
  EXPECT_EQ(caught.waitForLines(1).front().find("vivid: 1 damaged pictures"), 0u);
}

TEST_F(VividCameraTest, namesTheProgramThatUsesTheCamera) {
  int running[2];
  ASSERT_EQ(pipe(running), 0);
  const pid_t other = fork();
  if (other == 0) {
    start(caught);
    caught.waitForFrames(1);
    (void)!write(running[1], "!", 1);
    pause();
  }
  char byte = 0;
  ASSERT_EQ(read(running[0], &byte, 1), 1);
  start(caught);
  EXPECT_EQ(caught.waitForCompletion(),
            "/dev/video0 (vivid) is used by another program (camera_vm_tests, process " +
                std::to_string(other) + "): close it");
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
}

}  // namespace
}  // namespace quorvex
