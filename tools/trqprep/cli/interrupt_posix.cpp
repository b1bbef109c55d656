#include "cli/interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <ctime>
#include <thread>

#include "cli/progress.h"
#include "cli/terminal.h"
#include "trqprep/exit_codes.h"
#include "trqprep/temporary_path.h"

namespace trqprep {
namespace {

void Watch(sigset_t signals, void (*last_words)()) {
  const bool draws_progress = ErrorStreamIsTerminal();
  while (true) {
    int number = 0;
    if (draws_progress) {
      const timespec pause{0, 200'000'000};
      number = sigtimedwait(&signals, nullptr, &pause);
      if (number < 0) {
        TickProgress();
        continue;
      }
    } else {
      number = sigwaitinfo(&signals, nullptr);
      if (number < 0) continue;
    }
    const auto hold = HoldTemporaryPaths();
    RemoveTemporaryPaths();
    last_words();
    _exit(int(ExitCode::kInterrupted));
  }
}

}  // namespace

void WatchSignals(void (*last_words)()) {
  // Writing to a closed pipe or beyond a size limit is an error to report, not a reason to die.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    // nohup and shells ignore a signal on purpose; a blocked signal would be delivered all the same.
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) continue;
    sigaddset(&signals, number);
  }
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread(Watch, signals, last_words).detach();
}

}  // namespace trqprep
