/// Rounds of workers: after each they are compared, and the search may end.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

#include "nesting/shape.h"
#include "trqprep/nesting.h"

namespace trqprep::nesting {

// Part of what a result depends on: workers, and steps of each between two comparisons.
constexpr std::size_t kWorkers = 2;
constexpr Steps kRound = 8'000'000;

/// The rounds of workers. Every worker does the same whichever thread it runs on.
class Rounds {
 public:
  Rounds(const Limits& limits, Steps budget)
      : limits_(limits), budget_(budget), began_(std::chrono::steady_clock::now()) {}

  /// Whether there is another round; its steps for each worker, `most` at most, in `steps`.
  bool Next(Steps& steps, Steps most = kRound) {
    if (ended_ || spent_ >= budget_) return false;
    steps = std::min(most, (budget_ - spent_ + kWorkers - 1) / kWorkers);
    return true;
  }

  /// Runs `work(worker)` for all workers. False when the round was broken off: its results do not count.
  template <typename Work>
  bool Run(Steps steps, const Work& work) {
    const std::size_t threads =
        std::clamp<std::size_t>(static_cast<std::size_t>(std::max(limits_.threads, 1)), 1, kWorkers);
    std::exception_ptr failed[kWorkers];
    const auto share = [&](std::size_t thread) {
      try {
        for (std::size_t w = thread; w < kWorkers && !stop_.load(std::memory_order_relaxed); w += threads)
          work(w);
      } catch (...) {
        failed[thread] = std::current_exception();
        stop_ = true;
      }
    };
    caller_ = std::this_thread::get_id();
    std::vector<std::thread> others;
    others.reserve(threads);
    for (std::size_t t = 1; t < threads; ++t) {
      try {
        others.emplace_back(share, t);
      } catch (const std::system_error&) {  // no more threads to be had
        share(t);
      }
    }
    share(0);
    for (std::thread& other : others) other.join();
    for (const std::exception_ptr& failure : failed) {
      if (failure) std::rethrow_exception(failure);
    }
    Ask();
    if (stop_) {
      ended_ = true;
      return false;
    }
    spent_ = std::min(budget_, spent_ + steps * kWorkers);
    return true;
  }

  /// What workers look at between sweeps.
  bool Stopped() {
    if (std::this_thread::get_id() == caller_) Ask();
    return stop_.load(std::memory_order_relaxed);
  }
  /// Asks whether to end everything; what constructs does so between pieces.
  bool Cancelled() {
    if (limits_.cancel && limits_.cancel()) cancelled_ = stop_ = ended_ = true;
    return cancelled_;
  }
  bool cancelled() const { return cancelled_; }
  Steps spent() const { return spent_; }

 private:
  void Ask() {
    Cancelled();
    if (limits_.wall_seconds > 0) {
      const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - began_;
      if (passed.count() >= limits_.wall_seconds) stop_ = true;
    }
  }

  const Limits& limits_;
  Steps budget_;
  Steps spent_ = 0;
  std::chrono::steady_clock::time_point began_;
  std::thread::id caller_;
  std::atomic<bool> stop_{false};
  bool cancelled_ = false;
  bool ended_ = false;
};

}  // namespace trqprep::nesting
