#include "linux/threads/ThreadQueue.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <utility>

#include "linux/threads/TaskSchedule.h"

namespace quorvex {

namespace {

constexpr std::size_t kKernelNameLength = 15;
constexpr int kUserInteractiveNice = -10;

void runTasks(TaskSchedule& schedule, const std::string& name, ThreadQueue::Priority priority) {
  pthread_setname_np(pthread_self(), name.c_str());
  if (priority == ThreadQueue::Priority::userInteractive) {
    // Linux keeps a nice value per thread. Refused without the right to it, which is fine.
    (void)setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kUserInteractiveNice);
  }
  while (Task task = schedule.wait()) task();
}

}  // namespace

ThreadQueue::ThreadQueue(const std::string& label, Priority priority)
    : schedule(std::make_shared<TaskSchedule>()) {
  const std::size_t start = label.size() - std::min(label.size(), kKernelNameLength);
  thread = std::thread([shared = schedule, name = label.substr(start), priority] {
    runTasks(*shared, name, priority);
  });
}

ThreadQueue::~ThreadQueue() {
  schedule->close();
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();
  } else {
    thread.join();
  }
}

void ThreadQueue::async(Task task) {
  schedule->async(std::move(task));
}

std::unique_ptr<Timer> ThreadQueue::after(Seconds delay, Task task) {
  return schedule->add(delay, Seconds::zero(), std::move(task));
}

std::unique_ptr<Timer> ThreadQueue::every(Seconds first, Seconds interval,
                                          std::function<void()> task) {
  return schedule->add(first, interval, std::move(task));
}

}  // namespace quorvex
