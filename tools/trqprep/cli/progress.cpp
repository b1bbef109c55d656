#include "cli/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <mutex>

#include "cli/terminal.h"
#include "trqprep/message.h"

namespace trqprep {
namespace {

using Clock = std::chrono::steady_clock;

struct State {
  std::recursive_mutex mutex;
  bool active = false;
  bool drawn = false;
  Clock::time_point start;
  double share = 0;
  std::string what;
  std::string line;  // as drawn last
};

State& TheState() {
  static State state;
  return state;
}

void Erase(State& state) {
  if (state.drawn) WriteErrorStreamNow("\r\033[K");
  state.drawn = false;
  state.line.clear();
}

}  // namespace

void ShowProgress(const std::string& what, double share) {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  if (!state.active) {
    state.active = true;
    state.start = Clock::now();
  }
  state.share = std::max(state.share, std::min(share, 1.0));
  state.what = OneLine(what);
}

void EndProgress() {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  Erase(state);
  state.active = false;
}

void TickProgress() {
  State& state = TheState();
  const std::unique_lock lock(state.mutex, std::try_to_lock);
  if (!lock.owns_lock() || !state.active || Clock::now() - state.start < std::chrono::seconds(1)) return;
  const std::string line = fmt::format("{:3.0f}% {}", state.share * 100, state.what);
  if (line == state.line) return;
  WriteErrorStreamNow("\r\033[K" + line.substr(0, 78));
  state.drawn = true;
  state.line = line;
}

void EraseProgressUnlocked() {
  State& state = TheState();
  const std::unique_lock lock(state.mutex, std::try_to_lock);
  if (lock.owns_lock()) Erase(state);
}

ProgressPause::ProgressPause() {
  TheState().mutex.lock();
  Erase(TheState());
}

ProgressPause::~ProgressPause() { TheState().mutex.unlock(); }

}  // namespace trqprep
