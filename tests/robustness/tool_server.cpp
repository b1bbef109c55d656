// Runs the tool's command lines as they come in on standard input, each in a process of its own: one that is
// forked starts a hundred times faster than one that loads and prepares the sanitizers anew, and ends as any
// other does, with its leaks looked for.
//
// A request is a line of fields between bytes 1F: current folder, folder for temporary files, files for what
// goes to standard output and error stream, and the words of the command line. The answer is a line: exit
// code, or minus the signal that ended it, and milliseconds of processor time.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "commands.h"

namespace {

constexpr unsigned kHangs = 120;  // seconds, after which SIGALRM ends it

void Redirect(const std::string& path, int descriptor) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(99);
  close(file);
}

[[noreturn]] void RunOne(std::vector<std::string>& fields) {
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
  std::exit(trqprep::RunCommandLine(trqprep::kCommands, int(words.size()) - 1, words.data()));
}

}  // namespace

int main() {
  std::string line;
  while (std::getline(std::cin, line)) {
    std::vector<std::string> fields(1);
    for (const char c : line) {
      if (c == '\x1f') {
        fields.emplace_back();
      } else {
        fields.back() += c;
      }
    }
    if (fields.size() < 5) return 2;
    const pid_t child = fork();
    if (child < 0) return 3;
    if (child == 0) RunOne(fields);
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child) return 3;
    const long milliseconds = 1000 * (used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
                              (used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1000;
    std::printf("%d %ld\n", WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), milliseconds);
    std::fflush(stdout);
  }
  return 0;
}
