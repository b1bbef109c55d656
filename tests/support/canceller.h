/// An observer that ends the work at a chosen moment.
#pragma once

#include "trqprep/observer.h"

namespace test_support {

/// Cancels when it is asked once more than `after` times.
class Canceller : public trqprep::Observer {
 public:
  explicit Canceller(int after) : left_(after) {}
  bool asked_often_enough() const { return left_ < 0; }

 protected:
  bool Cancelled() override { return left_-- <= 0; }

 private:
  int left_;
};

/// Calls work(observer), cancelled the first time it asks, the second time and so on, until it comes to its
/// end; returns how often it was cancelled. What else it throws than an interruption is let through.
template <class Work>
int TimesCancelled(Work work) {
  for (int after = 0;; ++after) {
    Canceller observer(after);
    try {
      work(observer);
      return after;
    } catch (const trqprep::Failure& failure) {
      if (failure.exit != trqprep::ExitCode::kInterrupted) throw;
    }
  }
}

}  // namespace test_support
