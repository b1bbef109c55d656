#include <windows.h>

#include <chrono>
#include <thread>

#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/progress.h"
#include "cli/terminal.h"
#include "trqprep/exit_codes.h"
#include "trqprep/temporary_path.h"

namespace trqprep {
namespace {

void (*say_last)() = nullptr;

// Called in a thread of its own. Where Ctrl-C was switched off for the process, nobody calls.
BOOL WINAPI OnEvent(DWORD) {
  const auto hold = HoldTemporaryPaths();
  RemoveTemporaryPaths();
  say_last();
  EndProcess(int(ExitCode::kInterrupted));
}

}  // namespace

void WatchSignals(void (*last_words)()) {
  say_last = last_words;
  SetConsoleCtrlHandler(OnEvent, TRUE);
  if (!ErrorStreamIsTerminal()) return;
  std::thread([] {
    while (true) {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      TickProgress();
    }
  }).detach();
}

}  // namespace trqprep
