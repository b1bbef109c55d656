#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cli/console.h"

namespace trqprep {

int KeepStandardOutput() {
  const bool has_stdout = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  // A file opened later must never become one of the standard streams.
  for (int i = 0; i < 3; ++i) {
    if (fcntl(i, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) return -1;
  }
  const int kept = has_stdout ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3) : -1;
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return kept;
}

bool IsTerminal(int descriptor) { return isatty(descriptor) == 1; }

bool TerminalTakesColours() {
  const char* term = std::getenv("TERM");
  return term && std::strcmp(term, "dumb") != 0;
}

bool ReadStandardInput(char& byte) {
  ssize_t n = -1;
  do {
    n = read(STDIN_FILENO, &byte, 1);
  } while (n < 0 && errno == EINTR);
  return n > 0;
}

void EndProcess(int exit) { _exit(exit); }

std::vector<std::string> Arguments(int argc, char** argv) {
  return std::vector<std::string>(argc > 0 ? argv + 1 : argv, argv + argc);
}

}  // namespace trqprep
