// outside_build JOB FOLDER: builds a job file with the installed archives, and says how many pieces stand
// there.
#include <cstdio>

#include "trqprep/build.h"
#include "trqprep/job_file.h"

int main(int count, char** words) {
  if (count != 3) return 2;
  try {
    trqprep::Observer observer;
    const trqprep::Job job = trqprep::ReadJobFile(words[1]);
    const trqprep::BuildReport report = trqprep::Build(job, words[2], false, observer);
    std::printf("%zu pieces\n", report.plate.pieces.size());
    return report.written ? 0 : 1;
  } catch (const trqprep::Failure& failure) {
    std::fprintf(stderr, "%s\n", failure.message.text.c_str());
    return 3;
  }
}
