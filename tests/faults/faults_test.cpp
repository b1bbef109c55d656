/// Nothing crashes, leaks or returns success falsely when memory runs out or a stream fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <new>

#include "tests/faults/operations.h"
#include "tests/mutants/mutator.h"
#include "tests/support/temp_dir.h"
#include "trq/foundation.h"
#include "trq/geometry.h"
#include "trq/host.h"

namespace {

using faults::Operation;
using faults::Outcome;
using faults::Plan;

std::string NameOf(const Operation& operation, const std::string& path) {
  return std::string(operation.format) + ": " + operation.name + " " + path;
}

/// Some operations are run once before: what is made once a thread and kept is no leak.
Outcome Baseline(const Operation& operation, const std::string& path) {
  operation.run(path, Plan());
  return operation.run(path, Plan());
}

class Faults : public testing::Test {
 protected:
  // Nothing is recorded: that would be memory that stays.
  void SetUp() override {
    trq::SetMessageBoxHandler([](const char*, unsigned, void*) -> int { return trq::message_box::kOk; },
                              nullptr);
  }
  void TearDown() override { trq::SetMessageBoxHandler(nullptr, nullptr); }
};

void FailEveryAllocation(const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) {
    int64_t most = 0;
    for (const std::string& path : faults::SeedsOf(operation.format)) {
      SCOPED_TRACE(NameOf(operation, path));
      const Outcome good = Baseline(operation, path);
      for (Plan plan{1}; !testing::Test::HasFailure(); ++plan.allocation) {
        SCOPED_TRACE("allocation " + std::to_string(plan.allocation));
        const int64_t live = faults::LiveAllocations();
        const int descriptor = faults::FreeDescriptor();
        bool hit = false;
        {
          const Outcome outcome = operation.run(path, plan);
          hit = outcome.hit;
          // A failure that was got around is none: then the result is as good as ever.
          EXPECT_EQ(outcome.result, good.result);
          if (!hit) {
            EXPECT_EQ(outcome.code, good.code);
          }
        }
        EXPECT_EQ(faults::LiveAllocations(), live);
        EXPECT_EQ(faults::FreeDescriptor(), descriptor);
        most = std::max(most, plan.allocation);
        if (!hit) break;
      }
    }
    std::printf("%s, %s: up to %lld allocations failed one by one\n", operation.format, operation.name,
                static_cast<long long>(most - 1));
  }
}

TEST_F(Faults, ReadersSurviveEveryFailedAllocation) { FailEveryAllocation(faults::Readers()); }
TEST_F(Faults, WritersSurviveEveryFailedAllocation) { FailEveryAllocation(faults::Writers()); }
TEST_F(Faults, WorkersSurviveEveryFailedAllocation) { FailEveryAllocation(faults::Workers()); }

TEST_F(Faults, SmallReadsReadTheSame) {
  using mutants::Layout;
  const std::pair<const char*, Layout> layouts[] = {{"stl", Layout::kStl},
                                                    {"ctl", Layout::kCtl},
                                                    {"slc", Layout::kSlc},
                                                    {"build_style", Layout::kStyle},
                                                    {"recoat_style", Layout::kStyle},
                                                    {"legacy_recoat_style", Layout::kLegacyRecoatStyle},
                                                    {"side_file", Layout::kText}};
  for (const Operation& operation : faults::Readers()) {
    const test_support::TempDir folder;
    std::vector<std::string> paths = faults::SeedsOf(operation.format);
    std::vector<std::string> bytes;
    for (const std::string& path : paths) bytes.push_back(test_support::ReadFile(path));
    const auto layout = std::find_if(std::begin(layouts), std::end(layouts), [&](const auto& row) {
      return std::string(row.first) == operation.format;
    });
    const std::string ending = std::filesystem::path(paths[0]).extension();
    for (uint64_t i = 0; i < 60; ++i)
      paths.push_back(
          folder.Write(std::to_string(i) + ending, mutants::Mutant(layout->second, true, bytes, 2, i)));
    for (const std::string& path : paths) {
      const Outcome whole = operation.run(path, Plan());
      Plan small;
      small.small_reads = true;
      const Outcome pieces = operation.run(path, small);
      EXPECT_EQ(pieces.code, whole.code) << NameOf(operation, path);
      EXPECT_EQ(pieces.result, whole.result) << NameOf(operation, path);
    }
  }
}

TEST_F(Faults, BagGoesOnAfterAFailedAllocation) {
  for (int64_t failing = 1; failing <= 4; ++failing) {
    TriangleBAG bag(3, 2);
    R_TRIANGLE facet;
    Plan plan;
    plan.allocation = failing;
    int appended = 0;
    EXPECT_EQ(faults::Injected(plan, nullptr,
                               [&] {
                                 for (; appended < 6; ++appended) {
                                   facet.attribute = appended;
                                   bag.append(facet);
                                 }
                                 return 0;
                               }),
              faults::kOutOfMemory);
    EXPECT_EQ(bag.num(), appended);
    for (; appended < 6; ++appended) {
      facet.attribute = appended;
      bag.append(facet);
    }
    ASSERT_EQ(bag.num(), 6);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(bag[i].attribute, i);
  }
}

TEST_F(Faults, ArraysAskTheNewHandler) {
  static int asked = 0;
  struct Handler {
    std::new_handler before = std::set_new_handler([] { ++asked; });
    ~Handler() { std::set_new_handler(before); }
  } handler;
  for (const bool zeroed : {true, false}) {
    asked = 0;
    Plan plan;
    plan.allocation = 1;
    trq::MeshArray<int> array;
    // The handler came back, so the array asks once more, and there is memory.
    EXPECT_EQ(faults::Injected(plan, nullptr,
                               [&] {
                                 array =
                                     zeroed ? trq::MeshArray<int>(7) : trq::MeshArray<int>::ForOverwrite(7);
                                 return 0;
                               }),
              0);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(array.size(), 7u);
  }
}

/// At most `wanted` numbers of 0 .. end - 1, the first and last few among them.
std::vector<int64_t> Spread(int64_t end, int64_t wanted) {
  std::vector<int64_t> numbers;
  for (int64_t i = 0; i < end; ++i) {
    if (end <= wanted || i < 8 || i >= end - 8 || i % (end / wanted + 1) == 0) numbers.push_back(i);
  }
  return numbers;
}

TEST_F(Faults, ReadErrorsAreNoEndOfFile) {
  for (const Operation& operation : faults::Readers()) {
    for (const std::string& path : faults::SeedsOf(operation.format)) {
      const Outcome good = Baseline(operation, path);
      const int64_t size = static_cast<int64_t>(std::filesystem::file_size(path));
      for (const int64_t at : Spread(size, 60)) {
        for (const bool seekable : {true, false}) {
          Plan plan;
          plan.bytes_to_read = at;
          plan.seekable = seekable;
          const Outcome outcome = operation.run(path, plan);
          // A bad file is refused before its end, by what needs to go back in the file a pipe before it is
          // read.
          if (seekable && good.code == 0) {
            EXPECT_TRUE(outcome.hit) << NameOf(operation, path) << " at " << at;
          }
          EXPECT_NE(outcome.code, 0) << NameOf(operation, path) << " at " << at;
        }
      }
    }
  }
}

TEST_F(Faults, FullDisksAreReported) {
  for (const Operation& operation : faults::Writers()) {
    for (const std::string& path : faults::SeedsOf(operation.format)) {
      const Outcome good = Baseline(operation, path);
      if (good.code != 0) continue;
      for (const int64_t at : Spread(static_cast<int64_t>(good.result.size()), 25)) {
        Plan plan;
        plan.bytes_to_write = at;
        const Outcome outcome = operation.run(path, plan);
        EXPECT_TRUE(outcome.hit) << NameOf(operation, path) << " at " << at;
        EXPECT_NE(outcome.code, 0) << NameOf(operation, path) << " at " << at;
        EXPECT_EQ(outcome.result, good.result) << NameOf(operation, path) << " at " << at;
      }
    }
  }
}

TEST_F(Faults, FailedClosesAreReported) {
  for (const Operation& operation : faults::Writers()) {
    for (const std::string& path : faults::SeedsOf(operation.format)) {
      const Outcome good = Baseline(operation, path);
      if (good.code != 0 || good.result.empty()) continue;
      Plan plan;
      plan.close_fails = true;
      const Outcome outcome = operation.run(path, plan);
      EXPECT_TRUE(outcome.hit) << NameOf(operation, path);
      EXPECT_NE(outcome.code, 0) << NameOf(operation, path);
    }
  }
}

}  // namespace
