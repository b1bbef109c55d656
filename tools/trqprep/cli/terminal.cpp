#include "cli/terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cli/progress.h"
#include "trqprep/atomic_output.h"
#include "trqprep/message.h"

namespace trqprep {
namespace {

int real_stdout = -1;

int WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = write(descriptor, text.data(), text.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    text.remove_prefix(size_t(n));
  }
  return 0;
}

}  // namespace

void TakeStandardOutput() {
  const bool has_stdout = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  // A file opened later must never become one of the standard streams.
  for (int i = 0; i < 3; ++i) {
    if (fcntl(i, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) return;
  }
  if (has_stdout) real_stdout = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  SetStandardOutput(real_stdout);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

int WriteStandardOutput(std::string_view text) {
  if (text.empty()) return 0;
  if (real_stdout < 0) return EBADF;
  return WriteAll(real_stdout, text);
}

void WriteErrorStream(std::string_view text) {
  const ProgressPause pause;
  WriteAll(STDERR_FILENO, text);
}

void WriteErrorStreamNow(std::string_view text) { WriteAll(STDERR_FILENO, text); }

bool ErrorStreamIsTerminal() { return isatty(STDERR_FILENO) == 1; }

bool ErrorStreamHasColour() {
  const char* no_colour = std::getenv("NO_COLOR");
  if (no_colour && *no_colour) return false;
  const char* term = std::getenv("TERM");
  if (!term || std::strcmp(term, "dumb") == 0) return false;
  return ErrorStreamIsTerminal();
}

bool InputIsTerminal() { return isatty(STDIN_FILENO) == 1; }

bool CanAsk() { return InputIsTerminal() && ErrorStreamIsTerminal(); }

bool AskPerson(const std::string& question) {
  EndProgress();  // no lock is held while waiting for a person, so that Ctrl-C still works
  WriteAll(STDERR_FILENO, "trqprep: " + OneLine(question) + " [y/N] ");
  std::string answer;
  char c = 0;
  while (true) {
    const ssize_t n = read(STDIN_FILENO, &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0 || c == '\n') break;
    answer += c;
  }
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

}  // namespace trqprep
