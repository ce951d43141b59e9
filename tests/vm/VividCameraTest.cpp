#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <vector>

#include "cameras/CaughtFrames.h"
#include "linux/cameras/CameraThread.h"
#include "linux/cameras/V4l2Camera.h"
#include "linux/cameras/V4l2Pixels.h"

// Run in a virtual machine (run.sh) whose only camera is the kernel's own test driver, vivid.
namespace quorvex {
namespace {

// "bind" plugs the camera in, "unbind" unplugs it.
void driver(const std::string& action) {
  std::ofstream file("/sys/bus/platform/drivers/vivid/" + action);
  ASSERT_TRUE(file << "vivid.0" << std::flush) << action;
}

// Sets one of the driver's own controls, which make it misbehave.
void setControl(const std::string& name, int value) {
  const int fd = open("/dev/video0", O_RDWR | O_CLOEXEC);
  v4l2_queryctrl query{};
  do query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
  while (ioctl(fd, VIDIOC_QUERYCTRL, &query) == 0 &&
         name != reinterpret_cast<const char*>(query.name));
  v4l2_control control{query.id, value};
  EXPECT_EQ(ioctl(fd, VIDIOC_S_CTRL, &control), 0) << name;
  close(fd);
}

class VividCameraTest : public testing::Test {
 protected:
  void SetUp() override {
    devices = camera.captureDevices();
    ASSERT_EQ(devices.size(), 1u);
    formats = camera.supportedFormats(devices[0]);
  }

  std::string start(int width = 640) {
    const auto format = std::ranges::find(formats, width, &CaptureFormat::width);
    return format == formats.end() ? "no such size" : caught.start(camera, devices[0], *format);
  }

  void expectToBeBack() {
    EXPECT_EQ(caught.waitForLines(2).back(), "vivid is back");
    const auto before = caught.waitForFrames(0).size();
    EXPECT_GT(caught.waitForFrames(before + 5).size(), before + 4);
  }

  CaughtFrames caught;
  V4l2Camera camera{caught.log()};
  std::vector<CaptureDevice> devices;
  std::vector<CaptureFormat> formats;
};

TEST_F(VividCameraTest, deliversPicturesInEveryFormatAndOffersTheCheapestFirst) {
  EXPECT_EQ(devices[0].uniqueID, "/dev/video0");
  EXPECT_EQ(devices[0].name, "vivid");
  const auto first = std::ranges::find(formats, 1280, &CaptureFormat::width);
  ASSERT_NE(first, formats.end());
  EXPECT_LE(conversionCost(first->pixelFormat), 2);
  for (const auto& format : formats) {
    if (format.width != 1280) continue;
    SCOPED_TRACE(pixelFormatName(format.pixelFormat));
    CaughtFrames run;
    EXPECT_EQ(run.start(camera, devices[0], format), "");
    const auto frames = run.waitForFrames(20);
    camera.stopCapture();
    ASSERT_GE(frames.size(), 20u);
    EXPECT_EQ(frames.back().height, 720);
    EXPECT_GT(frames.back().middleLuma, 60) << "black";
    EXPECT_LT(frames.back().middleLuma, 190) << "white";
  }
}

TEST_F(VividCameraTest, saysOnceThatItIsUnpluggedAndOnceThatItIsBackAndStopsInBetween) {
  EXPECT_EQ(start(), "");
  driver("unbind");
  EXPECT_EQ(caught.waitForLines(1).back(), "/dev/video0 (vivid) is not there: plug the camera in");
  sleep(3);  // it tries again in vain meanwhile, and must keep quiet about it
  EXPECT_EQ(caught.waitForLines(0).size(), 1u);
  driver("bind");
  expectToBeBack();
  driver("unbind");
  caught.waitForLines(3);
  const auto begin = monotonicNow();
  camera.stopCapture();
  EXPECT_LT(monotonicNow() - begin, 500'000'000);
  driver("bind");
}

TEST_F(VividCameraTest, beginsAStreamAgainThatDeliversNothingOrFails) {
  EXPECT_EQ(start(), "");
  setControl("Percentage of Dropped Buffers", 100);
  EXPECT_NE(caught.waitForLines(1).back().find("no whole picture for 5 seconds"),
            std::string::npos);
  setControl("Percentage of Dropped Buffers", 0);
  expectToBeBack();
  setControl("Inject Fatal Streaming Error", 1);
  EXPECT_EQ(caught.waitForLines(4).back(), "vivid is back");
}

TEST_F(VividCameraTest, namesTheProgramThatUsesTheCamera) {
  int running[2];
  ASSERT_EQ(pipe(running), 0);
  const pid_t other = fork();
  if (other == 0) {
    start();
    caught.waitForFrames(1);
    (void)!write(running[1], "!", 1);
    pause();
  }
  char byte = 0;
  EXPECT_EQ(read(running[0], &byte, 1), 1);
  EXPECT_EQ(start(), "/dev/video0 (vivid) is used by another program (camera_vm_tests, process " +
                         std::to_string(other) + "): close it");
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
}

}  // namespace
}  // namespace quorvex
