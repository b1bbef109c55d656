#include "prep/says/side_by_side.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace trqprep {
namespace {

constexpr std::chrono::milliseconds kPatience{50};

/// What a piece of work said and is not told yet.
struct Said {
  std::optional<Message> message;
  std::string what;
  double share = 0;
};

class Crew {
 public:
  Crew(Observer& observer, std::size_t count, const std::function<void(std::size_t, Observer&)>& work)
      : observer_(observer), work_(work), places_(count) {}
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  ~Crew() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }

  /// True when there is anybody to work.
  bool Hire(std::int64_t threads) {
    threads_.reserve(std::size_t(threads));
    try {
      while (std::int64_t(threads_.size()) < threads) threads_.emplace_back([this] { Run(); });
    } catch (const std::system_error&) {  // no more threads to be had
    }
    return !threads_.empty();
  }

  /// Tells what the work of this number says until it is done, and throws what it threw.
  void Await(std::size_t number) {
    Place& place = places_[number];
    std::unique_lock<std::mutex> lock(mutex_);
    while (!place.said.empty() || !place.done) {
      if (place.said.empty()) {
        if (changed_.wait_for(lock, kPatience) != std::cv_status::timeout) continue;
        lock.unlock();
        observer_.StopIfCancelled();
        lock.lock();
        continue;
      }
      const Said said = std::move(place.said.front());
      place.said.pop_front();
      lock.unlock();
      if (said.message) {
        observer_.Say(*said.message);
      } else {
        observer_.Progress(said.what, said.share);
      }
      lock.lock();
    }
    if (place.failure) std::rethrow_exception(place.failure);
  }

 private:
  struct Place {
    std::deque<Said> said;
    bool done = false;
    std::exception_ptr failure;
  };

  /// Keeps what is said for the calling thread.
  class Listener : public Observer {
   public:
    Listener(Crew& crew, std::size_t number) : crew_(crew), number_(number) {
      strict = crew.observer_.strict;
      allowed = crew.observer_.allowed;
    }

   protected:
    void OnMessage(const Message& message) override { crew_.Keep(number_, {message, "", 0}); }
    void OnProgress(const std::string& what, double share) override {
      crew_.Keep(number_, {std::nullopt, what, share});
    }
    bool Cancelled() override { return crew_.stop_; }

   private:
    Crew& crew_;
    std::size_t number_;
  };

  void Keep(std::size_t number, Said said) {
    const std::lock_guard<std::mutex> lock(mutex_);
    places_[number].said.push_back(std::move(said));
    changed_.notify_one();
  }

  void Run() {
    for (std::size_t number = next_++; number < places_.size() && !stop_; number = next_++) {
      std::exception_ptr failure;
      try {
        Listener listener(*this, number);
        const MessageBoxes boxes(listener);
        work_(number, listener);
      } catch (...) {
        failure = std::current_exception();
        // Nobody will hear of what comes behind.
        next_ = places_.size();
      }
      const std::lock_guard<std::mutex> lock(mutex_);
      places_[number].failure = failure;
      places_[number].done = true;
      changed_.notify_one();
    }
  }

  Observer& observer_;
  const std::function<void(std::size_t, Observer&)>& work_;
  std::vector<Place> places_;
  std::vector<std::thread> threads_;
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::condition_variable changed_;
};

}  // namespace

void SideBySide(Observer& observer, std::size_t count, std::int64_t threads,
                const std::function<void(std::size_t, Observer&)>& work,
                const std::function<void(std::size_t)>& take) {
  const std::int64_t useful = std::min(threads, std::int64_t(count));
  Crew crew(observer, useful > 1 ? count : 0, work);
  const bool hired = useful > 1 && crew.Hire(useful);
  for (std::size_t number = 0; number < count; ++number) {
    if (hired) {
      crew.Await(number);
    } else {
      work(number, observer);
    }
    if (take) take(number);
  }
}

}  // namespace trqprep
