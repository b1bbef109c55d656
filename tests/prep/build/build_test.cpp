// What programs other than the tool rely on: a build is a function of a job and an observer.
#include "trqprep/build.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/canceller.h"
#include "tests/support/temp_dir.h"
#include "trqprep/verify_folder.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;

class BuildTest : public testing::Test {
 protected:
  static Job TwoRings() {
    Job job;
    PartRequest ring;
    ring.path = std::string(TRQ_SOURCE_DIR) + "/examples/parts/ring.stl";
    ring.copies = 2;
    job.parts.push_back(ring);
    job.rotations = 1;
    return job;
  }
  static std::string BytesOf(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  std::string Out() const { return folder_.File("out"); }
  std::size_t Entries() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()));
  }

  test_support::TempDir folder_;
};

TEST_F(BuildTest, WritesTheFolderAndReportsWhatStandsInIt) {
  Observer observer;
  const BuildReport report = Build(TwoRings(), Out(), false, observer);
  ASSERT_TRUE(report.placed());
  EXPECT_TRUE(report.written);
  EXPECT_FALSE(report.wrong);
  EXPECT_EQ(report.plate.pieces.size(), 2u);
  EXPECT_EQ(JsonDocument(report.document), BytesOf(fs::path(Out()) / kBuildJson));
  EXPECT_EQ(fs::file_size(fs::path(Out()) / kPlateStl),
            84u + 50u * 2u * static_cast<unsigned>(report.plate.parts[0].input.mesh->num_triangles()));
  EXPECT_EQ(Entries(), 1u) << "something temporary stayed";
  Observer reader;
  EXPECT_TRUE(VerifyFolder(reader, Out()).empty());
}

TEST_F(BuildTest, CheckBuildFindsTheSameAndWritesNothing) {
  Observer first, second;
  const BuildReport checked = CheckBuild(TwoRings(), first);
  EXPECT_FALSE(checked.written);
  EXPECT_EQ(Entries(), 0u);
  BuildReport built = Build(TwoRings(), Out(), false, second);
  built.document.erase("files");
  built.document.erase("sum");
  EXPECT_EQ(JsonDocument(checked.document), JsonDocument(built.document));
  ASSERT_EQ(first.messages().size(), second.messages().size());
}

TEST_F(BuildTest, EndsWhereverItIsCancelledAndLeavesNothing) {
  int completed_after = -1;
  for (int n = 0; n < 200 && completed_after < 0; ++n) {
    test_support::Canceller observer(n);
    try {
      Build(TwoRings(), Out(), false, observer);
      completed_after = n;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit, ExitCode::kInterrupted) << "at question " << n;
      EXPECT_EQ(Entries(), 0u) << "at question " << n;
    }
  }
  EXPECT_GT(completed_after, 4) << "a build asks at each of its steps whether it is to go on";
  EXPECT_EQ(Entries(), 1u);
}

TEST_F(BuildTest, ASearchThatIsCancelledLeavesNothing) {
  Job job = TwoRings();
  job.engine = Engine::kNest;
  job.parts[0].copies = kFill;
  job.time = kMostSeconds;               // far beyond what the test waits for
  test_support::Canceller observer(60);  // the steps before the search ask less often
  try {
    Build(job, Out(), false, observer);
    FAIL() << "the search ended by itself";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, ExitCode::kInterrupted);
  }
  EXPECT_EQ(Entries(), 0u);
}

TEST_F(BuildTest, TheEngineNestKeepsTheGapBetweenRings) {
  Job job = TwoRings();
  job.engine = Engine::kNest;
  job.gap = Length{0.25, Units::kInch};
  job.margin = Length{10, Units::kMillimetre};
  Observer observer;
  const BuildReport report = CheckBuild(job, observer);
  ASSERT_TRUE(report.placed());
  ASSERT_TRUE(report.plate.closest);
  EXPECT_GE(report.plate.closest->distance, 6.35);
  EXPECT_NEAR(report.plate.extent.min[0], 10, 1e-4);
  EXPECT_NEAR(report.plate.extent.min[1], 10, 1e-4);
  EXPECT_GE(report.plate.job.steps, 0) << "what was taken repeats it";
  EXPECT_FALSE(report.plate.job.time);
}

TEST_F(BuildTest, AnExistingFolderIsRefusedBeforeAnyWork) {
  fs::create_directory(Out());
  test_support::Canceller observer(0);  // would end the first step
  try {
    Build(TwoRings(), Out(), false, observer);
    FAIL() << "the folder was taken";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, ExitCode::kOutput);
    EXPECT_EQ(failure.message.code, Code::kOutputExists);
  }
}

TEST_F(BuildTest, WithoutAPlacementTheObserverHearsTheReason) {
  Job job = TwoRings();
  job.vat = {Length{10, Units::kMillimetre}, Length{10, Units::kMillimetre}, Length{10, Units::kMillimetre}};
  Observer observer;
  const BuildReport report = Build(job, Out(), false, observer);
  EXPECT_FALSE(report.placed());
  EXPECT_FALSE(report.written);
  ASSERT_FALSE(observer.messages().empty());
  EXPECT_EQ(observer.messages().back().code, Code::kTooBigForVat);
  EXPECT_EQ(Entries(), 0u);
}

}  // namespace
}  // namespace trqprep
