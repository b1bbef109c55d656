// Work side by side, and builds on it: an observer hears the same and the folder holds the same with any
// number of threads. With the preset tsan: a proof that parts share nothing.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <thread>

#include "prep/says/side_by_side.h"
#include "tests/support/rounds.h"
#include "tests/support/temp_dir.h"
#include "trqprep/build.h"
#include "trqprep/plates.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;
using test_support::ReadFile;
using test_support::TempDir;

const int64_t kNumbers[] = {1, 2, 3, 7};

// Everything that it hears, in order and on its own thread.
class Recorder : public Observer {
 public:
  std::vector<std::string> heard;
  int cancels_after = -1;

 protected:
  void OnMessage(const Message& message) override {
    Hear(SeverityName(message.severity) + (" " + message.text));
  }
  void OnProgress(const std::string& what, double share) override { Hear(what + " " + Plain(share, 4)); }
  bool Cancelled() override { return cancels_after >= 0 && int(heard.size()) >= cancels_after; }

 private:
  void Hear(const std::string& what) {
    EXPECT_EQ(std::this_thread::get_id(), mine_);
    heard.push_back(what);
  }
  std::thread::id mine_ = std::this_thread::get_id();
};

// --- the work itself
// -------------------------------------------------------------------------------------------

TEST(SideBySide, ObserverHearsWhatItHearsOfOneThread) {
  std::vector<std::string> of_one;
  for (const int64_t threads : kNumbers) {
    Recorder observer;
    observer.strict = true;
    observer.allowed = {Code::kNoStyle};
    std::vector<size_t> taken;
    SideBySide(
        observer, 40, threads,
        [](size_t i, Observer& hears) {
          hears.Progress("begins " + std::to_string(i), double(i) / 40);
          // Later ones are sooner done.
          std::this_thread::sleep_for(std::chrono::microseconds(100 * (40 - i)));
          hears.Warn(Message(i % 2 ? Code::kNoStyle : Code::kNoRecoat, "", "of " + std::to_string(i)));
        },
        [&](size_t i) {
          taken.push_back(i);
          observer.heard.push_back("taken " + std::to_string(i));
        });
    if (threads == 1) of_one = observer.heard;
    EXPECT_EQ(observer.heard, of_one) << threads;
    ASSERT_EQ(observer.messages().size(), 40u);
    EXPECT_EQ(observer.messages()[0].severity, Severity::kError);
    EXPECT_EQ(observer.messages()[1].severity, Severity::kWarning);
    EXPECT_EQ(taken.size(), 40u);
  }
}

TEST(SideBySide, FirstFailureByNumberEndsIt) {
  for (const int64_t threads : kNumbers) {
    Recorder observer;
    std::atomic<int> begun{0};
    try {
      SideBySide(observer, 1000, threads, [&](size_t i, Observer& hears) {
        ++begun;
        hears.Note(Message(Code::kInternal, "", std::to_string(i)));
        // The third one fails late, when those behind it have failed too.
        if (i == 3) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (i >= 3) throw std::runtime_error("number " + std::to_string(i));
      });
      FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "number 3");
    }
    EXPECT_EQ(observer.heard, (std::vector<std::string>{"note 0", "note 1", "note 2", "note 3"})) << threads;
    EXPECT_LT(begun, 1000) << "what comes behind a failure is not begun";
  }
}

TEST(SideBySide, EndsWhenItsObserverCancels) {
  for (const int64_t threads : kNumbers) {
    Recorder observer;
    observer.cancels_after = 5;
    try {
      SideBySide(observer, 100000, threads, [&](size_t i, Observer& hears) {
        hears.Progress(std::to_string(i), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(10));
      });
      FAIL() << "it went on";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit, ExitCode::kInterrupted);
    }
    EXPECT_EQ(observer.heard.size(), 5u);
  }
}

TEST(SideBySide, OneThatSaysNothingIsCancelledTooAndOneThatTakesMayFail) {
  struct Impatient : Observer {
    bool Cancelled() override { return true; }
  } impatient;
  EXPECT_THROW(SideBySide(impatient, 8, 2,
                          [](size_t, Observer& hears) {
                            for (int k = 0; k < 100000; ++k) {
                              hears.StopIfCancelled();
                              std::this_thread::sleep_for(std::chrono::milliseconds(1));
                            }
                          }),
               Failure);
  for (const int64_t threads : kNumbers) {
    Observer observer;
    EXPECT_THROW(SideBySide(
                     observer, 8, threads, [](size_t, Observer&) {},
                     [](size_t i) {
                       if (i == 2) throw std::runtime_error("taken");
                     }),
                 std::runtime_error);
    SideBySide(observer, 0, threads, [](size_t, Observer&) { FAIL(); });
  }
}

// --- builds
// ----------------------------------------------------------------------------------------------------

std::string Source(const std::string& name) { return std::string(TRQ_SOURCE_DIR) + "/examples/" + name; }

// One file in several ways, copies, a side file, styles, contours and findings.
Job MixedJob(const TempDir& folder) {
  Job job;
  const auto add = [&](const std::string& path) -> PartRequest& {
    job.parts.emplace_back().path = path;
    return job.parts.back();
  };
  fs::copy_file(Source("parts/ring.stl"), folder.File("ring.stl"));
  folder.Write("ring.V_D", "VENT 10 0 0 0 0 1 2\n");
  const std::string cut = ReadFile(Source("parts/bracket.stl"));
  folder.Write("longer.stl", cut + "more");
  add(Source("parts/bracket.stl")).copies = 3;
  add(folder.File("ring.stl")).rotate_z = 10;
  add(folder.File("ring.stl")).rotate_z = 20;
  add(folder.File("longer.stl"));
  add(Source("parts/spur_gear.stl")).copies = 2;
  add(Source("parts/knob.stl"));
  job.engine = Engine::kNest;
  job.time = 0;
  job.gap = job.margin = Length{2, Units::kMillimetre};
  job.styles.push_back(ParseStyleRequest(Source("styles/Fine.sty")));
  job.recoats.push_back(ParseStyleRequest(Source("styles/ThreeSweeps.rcs")));
  job.slice = true;
  job.report_facets = 1000;
  return job;
}

std::map<std::string, std::string> FilesOf(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files[fs::relative(entry.path(), folder)] = ReadFile(entry.path());
  }
  return files;
}

void ExpectTheSame(const Job& job, const TempDir& folder) {
  std::map<std::string, std::string> of_one;
  std::vector<std::string> heard_of_one;
  for (const int64_t threads : kNumbers) {
    Job asked = job;
    asked.threads = threads;
    const std::string out = folder.File("out-" + std::to_string(threads));
    Recorder observer;
    if (job.plates == 1) {
      ASSERT_TRUE(Build(asked, out, false, observer).written);
    } else {
      ASSERT_TRUE(BuildPlates(asked, out, false, observer).written);
    }
    const auto files = FilesOf(out);
    if (threads == 1) {
      of_one = files;
      heard_of_one = observer.heard;
      EXPECT_GT(files.size(), 10u);
    }
    ASSERT_EQ(files.size(), of_one.size());
    for (const auto& [name, bytes] : files) EXPECT_TRUE(bytes == of_one[name]) << name << ", " << threads;
    // How far a search is, is heard when it is asked.
    EXPECT_EQ(observer.heard, heard_of_one) << threads;
  }
}

TEST(ThreadedBuilds, FoldersAndMessagesAreTheSame) {
  const TempDir folder;
  ExpectTheSame(MixedJob(folder), folder);
}

TEST(ThreadedBuilds, OnTheGridAndOnSeveralPlates) {
  const TempDir folder, other;
  Job job = MixedJob(folder);
  job.slice = false;
  job.no_report = true;
  job.plates = kAnyPlates;
  job.vat = {Length{130, Units::kMillimetre}, Length{130, Units::kMillimetre},
             Length{130, Units::kMillimetre}};
  ExpectTheSame(job, folder);
  job.plates = 1;
  job.engine = Engine::kGrid;
  job.time.reset();
  job.rotations = 2;
  job.vat = Job().vat;
  ExpectTheSame(job, other);
}

TEST(ThreadedBuilds, FailuresAreTheSame) {
  const TempDir folder;
  const auto failure_of = [&](const Job& job, int64_t threads) {
    Job asked = job;
    asked.threads = threads;
    Recorder observer;
    std::string told;
    try {
      Build(asked, folder.File("out"), false, observer);
      told = "none";
    } catch (const Failure& failure) {
      told = std::to_string(int(failure.exit)) + " " + failure.message.file + " " + failure.message.text;
    }
    for (const std::string& heard : observer.heard) told += "\n" + heard;
    EXPECT_FALSE(folder.Has("out"));
    return told;
  };
  const Job good = MixedJob(folder);
  folder.Write("empty.stl", "");
  std::vector<Job> jobs(4, good);
  jobs[0].parts[5].path = folder.File("absent.stl");
  jobs[0].parts[3].path = folder.File("empty.stl");
  jobs[1].styles.clear();  // contours need one
  jobs[2].parts[1].at = {Length{-50, Units::kMillimetre}, Length{0, Units::kMillimetre}};
  jobs[3].vat[2] = Length{1, Units::kMillimetre};
  for (const Job& job : jobs) {
    const std::string of_one = failure_of(job, 1);
    for (const int64_t threads : kNumbers) EXPECT_EQ(failure_of(job, threads), of_one) << threads;
  }
  EXPECT_EQ(failure_of(jobs[0], 1).rfind("3 " + folder.File("empty.stl"), 0), 0u);
}

TEST(ThreadedBuilds, AreCancelledAnywhereAndLeaveNothing) {
  const TempDir folder;
  Job job = MixedJob(folder);
  job.threads = 3;
  Recorder whole;
  Build(job, folder.File("whole"), false, whole);
  for (size_t after = 0; after < whole.heard.size();
       after += 1 + whole.heard.size() / size_t(test_support::Rounds(10))) {
    Recorder observer;
    observer.cancels_after = int(after);
    EXPECT_THROW(Build(job, folder.File("out"), false, observer), Failure) << after;
    EXPECT_FALSE(folder.Has("out"));
  }
  for (const auto& entry : fs::directory_iterator(folder.path())) {
    EXPECT_EQ(entry.path().filename().string().rfind(".trqprep", 0), std::string::npos) << entry.path();
  }
}

}  // namespace
}  // namespace trqprep
