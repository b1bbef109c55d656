// Real STL files, when the build was told where they are (TRQ_CORPUS): codes, counts and measures as another
// reader has found them. The files' index is described beside them.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/message_box_recorder.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"

namespace {

using nlohmann::json;

const std::string kFolder = std::string(TRQ_CORPUS) + "/stl/";

void ExpectMeasures(CTL& mesh, const json& geometry) {
  ASSERT_EQ(mesh.num_triangles(), geometry["facets"].get<int>());
  const int fewest = geometry["merge_lower_bound"];
  const int most = geometry["distinct_vertices"];
  EXPECT_GE(mesh.num_vertices(), fewest);
  EXPECT_LE(mesh.num_vertices(), most);
  if (fewest != most) return;
  float low[3], high[3];
  mesh.get_min(&low[0], &low[1], &low[2]);
  mesh.get_max(&high[0], &high[1], &high[2]);
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(low[k], geometry["bbox_min"][k].get<double>());
    EXPECT_EQ(high[k], geometry["bbox_max"][k].get<double>());
  }
  EXPECT_NEAR(mesh.volume(), geometry["signed_volume"].get<double>(),
              1e-5 * geometry["volume_abs_sum"].get<double>());
  const double area = geometry["area"];
  EXPECT_NEAR(mesh.area(), area, 1e-3 * area);
}

class CorpusFile : public testing::Test {
 public:
  explicit CorpusFile(json entry) : entry_(std::move(entry)) {}

  void TestBody() override {
    const json& measured = entry_["measured"];
    for (const int accept : {0, 1}) {
      SCOPED_TRACE("accept_partial " + std::to_string(accept));
      const json& expected = measured["rule"]["load_accept_partial_" + std::to_string(accept)];
      const test_support::MessageBoxRecorder user;
      const std::string path = kFolder + entry_["file"].get<std::string>();
      const test_support::Stream stream(std::fopen(path.c_str(), "rb"));
      ASSERT_NE(stream, nullptr) << path;
      CTL mesh;
      int accept_partial = accept;
      const int code = mesh.LoadSTLFile(stream.get(), trq::units::kMillimetre, &accept_partial, 0, 0, 0);
      if (expected.value("endless", false) || expected["code"].is_null()) continue;  // it ended, that is all
      const int expected_code = expected["code"];
      if (expected_code == 0 && expected.value("nan", false)) {
        EXPECT_EQ(code, trq::mesh_io::kFailed);  // its normals cannot be calculated
      } else {
        EXPECT_EQ(code, expected_code);
      }
      if (expected_code != 0) continue;
      EXPECT_EQ(mesh.num_triangles(), expected["facets"].get<int>());
      const json& geometry = measured["geometry"];
      const bool as_measured = geometry.is_object() && geometry["facets"] == expected["facets"] &&
                               geometry.value("nonfinite_facets", 1) == 0 &&
                               geometry.value("nan_corners", 1) == 0;
      if (as_measured) ExpectMeasures(mesh, geometry);
    }
  }

 private:
  json entry_;
};

[[maybe_unused]] const bool registered = [] {
  if (*TRQ_CORPUS == '\0') return false;
  std::ifstream file(kFolder + "index.json");
  const json index = json::parse(file);
  for (const json& entry : index["files"]) {
    const std::string name = entry["file"];
    testing::RegisterTest("StlCorpus", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [entry]() -> CorpusFile* { return new CorpusFile(entry); });
  }
  return true;
}();

}  // namespace
