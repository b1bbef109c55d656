/// Job files: any text is refused with its line or read; what was read settles when written and read again.
#include "fuzz/fuzz_tool.h"
#include "trqprep/job_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::MemoryFile input(data, size);
  trqprep::Job job;
  // What the command line may get wrong, such as one option twice, a job file may too.
  if (!fuzz::Accepts([&] { job = trqprep::ReadJobFile(input.path()); }, true)) return 0;
  std::string texts[3];
  for (std::string& text : texts) {
    text = trqprep::JobFileText(job);
    const fuzz::MemoryFile file(text.data(), text.size());
    const auto read = [&] { job = trqprep::ReadJobFile(file.path()); };
    fuzz::Demand(fuzz::Accepts(read), "a job file just written is refused");
  }
  fuzz::Demand(texts[1] == texts[2], "job files differ after the first turn");
  return 0;
}
