#include "trqprep/fixed_name_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace trqprep {
namespace {

/// Makes a folder the current one for as long as this object lives.
class CurrentFolder {
 public:
  explicit CurrentFolder(const std::string& path) : before_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (before_ < 0 || chdir(path.c_str()) != 0) {
      const int error = errno;
      if (before_ >= 0) close(before_);
      Fail(ExitCode::kOutput, Message(Code::kOutputUnwritable, path, SystemText(error)));
    }
  }
  ~CurrentFolder() {
    // That folder was the current one a moment ago; should it be gone, no relative name means anything.
    if (fchdir(before_) != 0) std::terminate();
    close(before_);
  }
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;

 private:
  int before_;
};

}  // namespace

FixedNameFile::FixedNameFile(const char* name, std::uint64_t size, const std::function<void()>& make)
    : path_(folder_.PathOf(name)), size_(size) {
  int reason = 0;
  {
    const CurrentFolder here(folder_.path());
    errno = 0;
    make();
    reason = errno;
  }
  struct stat status {};
  if (stat(path_.c_str(), &status) != 0 || static_cast<std::uint64_t>(status.st_size) != size) {
    errno = reason;
    Fail(ExitCode::kOutput, Message(Code::kOutputShort, path_, "could not be written completely")
                                .Hint("is the disk full, or a size limit in force?"));
  }
}

void FixedNameFile::MoveTo(const std::string& path, bool replace) const {
  OutputFile output(path, replace);
  using File = std::unique_ptr<FILE, int (*)(FILE*)>;
  // The private folder may lie on another disk, so the bytes are carried over.
  const File from(std::fopen(path_.c_str(), "rb"), std::fclose);
  File to(std::fopen(output.path().c_str(), "wb"), std::fclose);
  const auto fail = [&] {
    Fail(ExitCode::kOutput,
         Message(Code::kOutputUnwritable, path, "cannot be written: " + SystemText(errno)));
  };
  if (!from || !to) fail();
  std::string block(1 << 18, '\0');
  while (const std::size_t got = std::fread(block.data(), 1, block.size(), from.get())) {
    if (std::fwrite(block.data(), 1, got, to.get()) != got) fail();
  }
  if (std::fclose(to.release()) != 0) fail();
  output.Expect(size_);
  output.Commit();
}

}  // namespace trqprep
