#include "platform/DispatchQueue.h"
#include "platform/PlatformShutdown.h"

#include <atomic>
#include <cstdlib>
#include <future>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

namespace skylark {
namespace {

using namespace std::chrono_literals;

TEST(DispatchQueueTest, SerialQueueRunsInOrderOneAtATime) {
  auto queue = Dispatch::makeSerialQueue("com.skylark.test.serial");
  std::vector<int> order;
  std::atomic<int> concurrent{0};
  std::atomic<bool> overlapped{false};
  std::promise<void> done;
  for (int i = 0; i < 200; ++i) {
    queue->async([&, i] {
      if (++concurrent > 1) overlapped = true;
      EXPECT_TRUE(queue->isCurrent());
      order.push_back(i);
      --concurrent;
      if (i == 199) done.set_value();
    });
  }
  ASSERT_EQ(done.get_future().wait_for(5s), std::future_status::ready);
  EXPECT_FALSE(overlapped);
  ASSERT_EQ(order.size(), 200u);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(order[i], i);
  EXPECT_FALSE(queue->isCurrent());
  EXPECT_EQ(queue->label(), "com.skylark.test.serial");
}

TEST(DispatchQueueTest, MainQueueRunsOnlyWhenDriven) {
  MainQueue& main = Dispatch::main();
  std::vector<std::string> ran;
  main.async([&] {
    ran.push_back("first");
    main.async([&] { ran.push_back("posted by first"); });
  });
  EXPECT_TRUE(ran.empty());
  main.asyncAfter(50ms, [&] { ran.push_back("later"); });
  EXPECT_EQ(main.runUntilIdle(), 2u);
  EXPECT_EQ(ran, (std::vector<std::string>{"first", "posted by first"}));
  EXPECT_TRUE(main.runUntil([&] { return ran.size() == 3; }, 5s));
  EXPECT_EQ(ran.back(), "later");

  // Work from another thread reaches the main queue.
  Dispatch::global().async([&] { main.async([&] { ran.push_back("from the pool"); }); });
  EXPECT_TRUE(main.runUntil([&] { return ran.size() == 4; }, 5s));
}

TEST(DispatchQueueTest, RepeatingTimerFiresUntilCancelled) {
  MainQueue& main = Dispatch::main();
  int fired = 0;
  std::unique_ptr<RepeatingTimer> timer;
  timer = std::make_unique<RepeatingTimer>(main, 5ms, /*fireImmediately=*/true, [&] {
    if (++fired == 3) timer->cancel();
  });
  main.runUntilIdle();
  EXPECT_EQ(fired, 1);  // the first tick comes at once
  EXPECT_TRUE(main.runUntil([&] { return fired == 3; }, 5s));
  EXPECT_FALSE(main.runUntil([&] { return fired > 3; }, 50ms));
  timer.reset();
  main.runUntilIdle();
}

TEST(DispatchQueueTest, TheThreadThatRunsTheMainQueueIsTheMainThread) {
  Dispatch::main().runUntilIdle();
  EXPECT_TRUE(Dispatch::isMainThread());
  bool elsewhere = true;
  std::thread([&] { elsewhere = Dispatch::isMainThread(); }).join();
  EXPECT_FALSE(elsewhere);
}

// Shuts the platform down with one piece of work running on a serial queue
// and one queued behind it; exits 0 when the first finished before the
// shutdown returned and the second never ran.
[[noreturn]] void shutDownWithWorkInFlight() {
  std::atomic<bool> started{false}, finished{false}, queuedRan{false};
  auto queue = Dispatch::makeSerialQueue("com.skylark.test.shutdown");
  queue->async([&] {
    started = true;
    // Busy long enough that a shutdown not waiting returns first.
    const auto until = std::chrono::steady_clock::now() + 200ms;
    while (std::chrono::steady_clock::now() < until) {
    }
    finished = true;
  });
  queue->async([&] { queuedRan = true; });
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!started && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  shutdownPlatform();
  std::exit(started && finished && !queuedRan ? 0 : 1);
}

// At exit nothing runs on the pool any more. In a child process, since the
// pool ends for good.
TEST(DispatchQueueDeathTest, ShutdownWaitsForRunningWorkAndDropsQueuedWork) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(shutDownWithWorkInFlight(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace skylark
