// Runs the tool's command lines as they come in on standard input. Processes are forked, which is a hundred
// times faster than to load and prepare the sanitizers anew, and each runs a number of commands, since to end
// with the leaks looked for costs more than most of the commands. The last command's answer is given when the
// process has ended: leaks of its predecessors are found there too, and are said in that command's error
// file.
//
// A request is a line of fields between bytes 1F: current folder, folder for temporary files, files for what
// goes to standard output and error stream, and the words of the command line. The answer is a line: exit
// code, or minus the signal that ended it, and milliseconds of processor time.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "commands.h"

namespace {

constexpr unsigned kHangs = 120;  // seconds, after which SIGALRM ends it
constexpr int kCommandsAProcess = 8;

void Redirect(const std::string& path, int descriptor) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(99);
  close(file);
}

int RunOne(std::vector<std::string>& fields) {
  if (chdir(fields[0].c_str()) != 0 || setenv("TMPDIR", fields[1].c_str(), 1) != 0) _exit(99);
  const int nothing = open("/dev/null", O_RDONLY);
  if (nothing < 0 || dup2(nothing, STDIN_FILENO) < 0) _exit(99);
  close(nothing);
  Redirect(fields[2], STDOUT_FILENO);
  Redirect(fields[3], STDERR_FILENO);
  alarm(kHangs);
  std::vector<char*> words;
  std::string name = "trqprep";
  words.push_back(name.data());
  for (size_t i = 4; i < fields.size(); ++i) words.push_back(fields[i].data());
  words.push_back(nullptr);
  const int code = trqprep::RunCommandLine(trqprep::kCommands, int(words.size()) - 1, words.data());
  alarm(0);
  std::fflush(nullptr);
  std::cout.flush();
  return code;
}

// Bytes up to the end of the line, one by one: what follows belongs to another process. False at the end.
bool ReadLine(int descriptor, std::string& line) {
  line.clear();
  for (char c; read(descriptor, &c, 1) == 1; line += c) {
    if (c == '\n') return true;
  }
  return false;
}

long Milliseconds(const rusage& used) {
  return 1000 * (used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
         (used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1000;
}

long MillisecondsOfThisProcess() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return Milliseconds(used);
}

// What the parent must know of a process that has ended.
struct Shared {
  bool waiting;  // a request was read and has no answer yet
  bool ended;    // no request is left
  long before;   // milliseconds of processor time before it
};

[[noreturn]] void RunCommands(int requests, int answers, Shared& shared) {
  std::string line;
  for (int k = 0;; ++k) {
    if (!ReadLine(requests, line)) {
      shared.ended = true;
      _exit(0);
    }
    std::vector<std::string> fields(1);
    for (const char c : line) {
      if (c == '\x1f') {
        fields.emplace_back();
      } else {
        fields.back() += c;
      }
    }
    if (fields.size() < 5) _exit(99);
    shared.before = MillisecondsOfThisProcess();
    shared.waiting = true;
    const int code = RunOne(fields);
    if (k + 1 == kCommandsAProcess) std::exit(code);
    shared.waiting = false;
    dprintf(answers, "%d %ld\n", code, MillisecondsOfThisProcess() - shared.before);
  }
}

}  // namespace

int main() {
  const int requests = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10);
  const int answers = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
  void* page = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (requests < 0 || answers < 0 || page == MAP_FAILED) return 2;
  Shared& shared = *new (page) Shared{};
  while (!shared.ended) {
    shared.waiting = false;
    const pid_t child = fork();
    if (child < 0) return 3;
    if (child == 0) RunCommands(requests, answers, shared);
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child) return 3;
    if (shared.ended) break;
    if (!shared.waiting) return 4;
    dprintf(answers, "%d %ld\n", WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status),
            Milliseconds(used) - shared.before);
  }
  return 0;
}
