/// Progress on the error stream: only on a terminal, only when the work lasts over a second, never backwards.
#pragma once

#include <string>

namespace trqprep {

/// Announces the next piece of work: `share` of the whole (0..1) is done when it begins. A share below an
/// earlier one counts as that one. Shown by the watcher thread; costs nothing otherwise.
void ShowProgress(const std::string& what, double share);
/// Clears the line. Called when a command ends.
void EndProgress();
/// Draws the line when it is due; called by the watcher thread a few times a second.
void TickProgress();

/// Clears the line when nobody is writing at this moment; never waits. For the way out on a signal.
void EraseProgressUnlocked();

/// While one exists, the progress line is cleared and stays away, so that other text can be written.
class ProgressPause {
 public:
  ProgressPause();
  ~ProgressPause();
  ProgressPause(const ProgressPause&) = delete;
  ProgressPause& operator=(const ProgressPause&) = delete;
};

}  // namespace trqprep
