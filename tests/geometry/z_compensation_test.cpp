#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/byte_builder.h"
#include "tests/support/meshes.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"

namespace {

using test_support::ByteBuilder;
using test_support::Hex;
using test_support::Indices;
using test_support::kCubeNormals;
using test_support::kCubeTriangles;
using test_support::Point;
using test_support::SetNormals;

constexpr char kFileName[] = "ChikiChikiBumBum.stl";

const std::vector<Point> kCubeCorners = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0},
                                         {0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1}};
/// The unit cube with attributes that must not arrive in the file.
CTL CubeWithNormals() {
  CTL cube = test_support::MakeMesh(kCubeCorners, kCubeTriangles);
  for (int i = 0; i < 12; ++i) cube.nth(i)[3] = 7;
  SetNormals(cube, kCubeNormals);
  return cube;
}

ByteBuilder Head(uint32_t count) {
  ByteBuilder bytes;
  bytes.Text("Kestrabin STL", 80).U32(count);
  return bytes;
}

void AddFacet(ByteBuilder& bytes, const Point& normal, const Point& a, const Point& b, const Point& c) {
  for (const Point& point : {normal, a, b, c}) bytes.F32(point[0]).F32(point[1]).F32(point[2]);
  bytes.U16(0);
}

/// The cube's file with the bottom's two facets at this height.
std::string CubeFile(float bottom) {
  ByteBuilder bytes = Head(12);
  for (std::size_t i = 0; i < 12; ++i) {
    Point corners[3];
    for (std::size_t k = 0; k < 3; ++k) {
      corners[k] = kCubeCorners[static_cast<std::size_t>(kCubeTriangles[i][k])];
      if (i < 2) corners[k][2] = bottom;
    }
    AddFacet(bytes, kCubeNormals[i], corners[0], corners[1], corners[2]);
  }
  return bytes.bytes();
}

class ZCompensation : public testing::Test {
 protected:
  test_support::TempDir folder_;
  test_support::WorkingDirectory here_{folder_.path()};
};

TEST_F(ZCompensation, BottomOfACubeIsRaisedAndItsSidesStay) {
  CTL cube = CubeWithNormals();
  EXPECT_EQ(cube.ShiftTrianglesInZForZComp(0.5f, 0), 0);
  EXPECT_EQ(Hex(folder_.Read(kFileName)), Hex(CubeFile(0.5f)));
}

TEST_F(ZCompensation, MeshIsNotChanged) {
  CTL cube = CubeWithNormals();
  cube.ShiftTrianglesInZForZComp(0.5f, 0);
  EXPECT_EQ(test_support::VerticesOf(cube), kCubeCorners);
  EXPECT_EQ(test_support::AttributesOf(cube), std::vector<int>(12, 7));
}

TEST_F(ZCompensation, MeshWithoutDownwardFacetsIsWrittenUnchanged) {
  CTL mesh = test_support::MakeMesh({{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}, {{0, 1, 2}, {1, 2, 0}});
  mesh.nth(0)[3] = 9;
  SetNormals(mesh, {{0, 0, 1}, {1, 0, 0}});
  mesh.ShiftTrianglesInZForZComp(3, 1);
  ByteBuilder bytes = Head(2);
  AddFacet(bytes, {0, 0, 1}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1});
  AddFacet(bytes, {1, 0, 0}, {1, 0, 1}, {0, 1, 1}, {0, 0, 1});
  EXPECT_EQ(Hex(folder_.Read(kFileName)), Hex(bytes.bytes()));
}

TEST_F(ZCompensation, KeptNormalThatIsNotANumberFacesDown) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  CTL mesh = test_support::MakeMesh({{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}, {{0, 1, 2}, {0, 1, 2}, {0, 1, 2}});
  SetNormals(mesh, {{0, 0, nan}, {0, 0, -0.0f}, {0, 0, -1e-30f}});
  mesh.ShiftTrianglesInZForZComp(2, 0);
  ByteBuilder bytes = Head(3);
  AddFacet(bytes, {0, 0, nan}, {0, 0, 3}, {1, 0, 3}, {0, 1, 3});
  AddFacet(bytes, {0, 0, -0.0f}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1});  // a negative zero faces up
  AddFacet(bytes, {0, 0, -1e-30f}, {0, 0, 3}, {1, 0, 3}, {0, 1, 3});
  EXPECT_EQ(Hex(folder_.Read(kFileName)), Hex(bytes.bytes()));
}

TEST_F(ZCompensation, NegativeHeightLowers) {
  CTL cube = CubeWithNormals();
  cube.ShiftTrianglesInZForZComp(-0.25f, 0);
  EXPECT_EQ(Hex(folder_.Read(kFileName)), Hex(CubeFile(-0.25f)));
}

TEST_F(ZCompensation, EmptyMeshGivesAHeadWithCountZero) {
  CTL mesh;
  EXPECT_EQ(mesh.ShiftTrianglesInZForZComp(1, 0), 0);
  EXPECT_EQ(folder_.Read(kFileName), Head(0).bytes());
}

TEST_F(ZCompensation, MissingNormalsFaceUp) {
  CTL mesh = test_support::MakeMesh({{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}, {{0, 2, 1}});
  mesh.ShiftTrianglesInZForZComp(1, 0);
  ByteBuilder bytes = Head(1);
  AddFacet(bytes, {0, 0, 0}, {0, 0, 1}, {0, 1, 1}, {1, 0, 1});
  EXPECT_EQ(folder_.Read(kFileName), bytes.bytes());
}

TEST_F(ZCompensation, IndexOutsideTheMeshReadsAsTheOrigin) {
  CTL mesh = test_support::MakeMesh({{1, 1, 1}, {1, 0, 1}, {0, 1, 1}}, {{0, 99, -5}});
  SetNormals(mesh, {{0, 0, 1}});
  mesh.ShiftTrianglesInZForZComp(1, 0);
  ByteBuilder bytes = Head(1);
  AddFacet(bytes, {0, 0, 1}, {1, 1, 1}, {0, 0, 0}, {0, 0, 0});
  EXPECT_EQ(folder_.Read(kFileName), bytes.bytes());
}

TEST_F(ZCompensation, ManyFacetsAreAllWritten) {
  CTL sphere = test_support::Sphere(10, 60, 41);
  sphere.Calculate_normals();
  sphere.ShiftTrianglesInZForZComp(1, 0);
  const std::string bytes = folder_.Read(kFileName);
  ASSERT_EQ(sphere.num_triangles(), 4800);
  ASSERT_EQ(bytes.size(), 84u + 50 * 4800);
  EXPECT_EQ(bytes.substr(0, 84), Head(4800).bytes());
}

TEST_F(ZCompensation, KeptShiftAnswers0WhenTheFileCannotBeCreated) {
  std::filesystem::create_directory(folder_.path() / kFileName);
  CTL cube = CubeWithNormals();
  std::vector<TheTriangle> records(12);
  EXPECT_EQ(cube.DumpZCompedSTL(records.data(), 0), 1);
  EXPECT_EQ(cube.ShiftTrianglesInZForZComp(0.5f, 0), 0);
}

TEST_F(ZCompensation, DumpTakesTheNormalsOfTheMesh) {
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
  SetNormals(mesh, {{0, 0, 1}});
  TheTriangle record;
  const float normal[3] = {5, 5, 5};
  record.SetNormal(normal);
  for (int k = 1; k <= 3; ++k) {
    const float corner[3] = {static_cast<float>(k), 10, 20};
    record.SetCorner(k, corner);
  }
  EXPECT_EQ(mesh.DumpZCompedSTL(&record, 0), 0);
  ByteBuilder bytes = Head(1);
  AddFacet(bytes, {0, 0, 1}, {1, 10, 20}, {2, 10, 20}, {3, 10, 20});
  EXPECT_EQ(folder_.Read(kFileName), bytes.bytes());
  EXPECT_EQ(mesh.DumpZCompedSTL(nullptr, 0), 1);
}

Point CornerOf(const TheTriangle& record, int k) {
  Point point;
  record.GetCorner(k, point.data());
  return point;
}

TheTriangle Record(float value, int facet) {
  TheTriangle record;
  for (int k = 1; k <= 3; ++k) {
    const float corner[3] = {value + static_cast<float>(k), value, value};
    record.SetCorner(k, corner);
  }
  record.facet_index = facet;
  return record;
}

TEST(TheTriangle, IsZeroAtFirstAndKnowsItsCorners) {
  TheTriangle record;
  for (int k = 0; k <= 4; ++k) EXPECT_EQ(CornerOf(record, k), (Point{0, 0, 0}));
  EXPECT_EQ(record.word, 0);
  EXPECT_EQ(record.facet_index, 0);
  for (const int k : {0, 4, -1}) {
    const float corner[3] = {9, 9, 9};
    record.SetCorner(k, corner);
  }
  EXPECT_EQ(CornerOf(record, 1), (Point{0, 0, 0}));
  EXPECT_EQ(CornerOf(record, 3), (Point{0, 0, 0}));
  record = Record(10, 4);
  EXPECT_EQ(CornerOf(record, 1), (Point{11, 10, 10}));
  EXPECT_EQ(CornerOf(record, 2), (Point{12, 10, 10}));
  for (const int k : {3, 0, 4, -7}) EXPECT_EQ(CornerOf(record, k), (Point{13, 10, 10}));
  const float normal[3] = {1, 2, 3};
  record.SetNormal(normal);
  Point read;
  record.GetNormal(read.data());
  EXPECT_EQ(read, (Point{1, 2, 3}));
}

TheSegment Segment(const Point& p1, const Point& p2) {
  TheSegment segment;
  segment.SetPoint(1, p1.data());
  segment.SetPoint(2, p2.data());
  return segment;
}

TEST(TheSegment, IsZeroAtFirstAndKnowsItsPoints) {
  TheSegment segment;
  Point read;
  segment.GetTrimmedPoint(1, read.data());
  EXPECT_EQ(read, (Point{0, 0, 0}));
  EXPECT_EQ(segment.state, 0);
  EXPECT_EQ(segment.facet_index, 0);
  const Point p1 = {1, 2, 3}, p2 = {4, 5, 6}, t1 = {7, 8, 9}, t2 = {10, 11, 12};
  segment.SetPoint(1, p1.data());
  segment.SetPoint(2, p2.data());
  segment.SetTrimmedPoint(1, t1.data());
  segment.SetTrimmedPoint(2, t2.data());
  segment.SetPoint(3, t2.data());
  segment.SetTrimmedPoint(0, p1.data());
  segment.GetPoint(1, read.data());
  EXPECT_EQ(read, p1);
  segment.GetPoint(2, read.data());
  EXPECT_EQ(read, p2);
  segment.GetTrimmedPoint(1, read.data());
  EXPECT_EQ(read, t1);
  segment.GetTrimmedPoint(2, read.data());
  EXPECT_EQ(read, t2);
}

TEST(TheSegment, MatchTellsTheDirection) {
  const Point a = {0, 0, 0}, b = {1, 0, 0}, far = {5, 0, 0};
  EXPECT_EQ(Segment(a, b).match(a.data(), b.data(), 1e-6f), 1);
  EXPECT_EQ(Segment(b, a).match(a.data(), b.data(), 1e-6f), 2);
  EXPECT_EQ(Segment(a, far).match(a.data(), b.data(), 1e-6f), 0);
  EXPECT_EQ(Segment(far, b).match(a.data(), b.data(), 1e-6f), 0);
  EXPECT_EQ(Segment(a, a).match(a.data(), a.data(), 1e-6f), 1);  // both ways: the same direction wins
}

TEST(TheSegment, KeptMatchComparesSquaredDistancesWithTheToleranceAsGiven) {
  const Point a = {0, 0, 0}, b = {1, 0, 0};
  // Half a unit off: 0.25 squared.
  EXPECT_EQ(Segment({0, 0.5f, 0}, b).match(a.data(), b.data(), 0.26f), 1);
  EXPECT_EQ(Segment({0, 0.5f, 0}, b).match(a.data(), b.data(), 0.25f), 0);  // strictly below
  EXPECT_EQ(Segment(b, {0, 0, 0.5f}).match(a.data(), b.data(), 0.26f), 2);
  EXPECT_EQ(Segment(b, {0, 0, 0.5f}).match(a.data(), b.data(), 0.25f), 0);
}

TEST(ZCompensationBuckets, UpBucketIsCopiedByFacetIndex) {
  CTL cube = CubeWithNormals();
  std::vector<TheTriangle> main(12);
  std::vector<TheTriangle> up = {Record(10, 11), Record(20, 0), Record(30, 12), Record(40, -1),
                                 Record(50, 5)};
  EXPECT_EQ(cube.DumpTheUpBucketIntoMainBucket(4, up.data(), main.data()), 0);
  EXPECT_EQ(CornerOf(main[11], 1), (Point{11, 10, 10}));
  EXPECT_EQ(CornerOf(main[11], 3), (Point{13, 10, 10}));
  EXPECT_EQ(CornerOf(main[0], 2), (Point{22, 20, 20}));
  EXPECT_EQ(main[0].facet_index, 0);
  EXPECT_EQ(CornerOf(main[5], 1), (Point{0, 0, 0}));  // the fifth record is beyond n
  for (const int n : {0, -3}) {
    std::vector<TheTriangle> untouched(12);
    EXPECT_EQ(cube.DumpTheUpBucketIntoMainBucket(n, up.data(), untouched.data()), 0);
    EXPECT_EQ(CornerOf(untouched[11], 1), (Point{0, 0, 0}));
  }
}

/// Three edges of facet `facet`, their trimmed points counting up from `value`.
void AddGroup(std::vector<TheSegment>& segments, int facet, int state, float value) {
  for (int edge = 0; edge < 3; ++edge) {
    TheSegment segment;
    for (int k = 1; k <= 2; ++k) {
      const float trimmed[3] = {value++, 0, 0};
      segment.SetTrimmedPoint(k, trimmed);
    }
    segment.facet_index = facet;
    segment.state = state;
    segments.push_back(segment);
  }
}

TEST(ZCompensationBuckets, TrimsTheGroupsWhoseStateIs1) {
  CTL cube = CubeWithNormals();
  std::vector<TheSegment> segments;
  AddGroup(segments, 3, 1, 100);
  AddGroup(segments, 4, 0, 200);
  AddGroup(segments, 5, 2, 300);
  AddGroup(segments, 12, 1, 400);
  AddGroup(segments, -1, 1, 500);
  AddGroup(segments, 6, 1, 600);
  segments[4].state = 1;  // only the first edge of a group counts
  std::vector<TheTriangle> main(12);
  EXPECT_EQ(cube.TrimDownfacingTriangles(18, main.data(), segments.data(), 0.5f), 0);
  EXPECT_EQ(CornerOf(main[3], 1), (Point{100, 0, 0}));
  EXPECT_EQ(CornerOf(main[3], 2), (Point{101, 0, 0}));
  EXPECT_EQ(CornerOf(main[3], 3), (Point{102, 0, 0}));
  EXPECT_EQ(CornerOf(main[4], 1), (Point{0, 0, 0}));
  EXPECT_EQ(CornerOf(main[5], 1), (Point{0, 0, 0}));
  EXPECT_EQ(CornerOf(main[6], 3), (Point{602, 0, 0}));
}

TEST(ZCompensationBuckets, ShortLastGroupNeedsItsSecondEdge) {
  CTL cube = CubeWithNormals();
  std::vector<TheSegment> segments;
  AddGroup(segments, 3, 1, 100);
  AddGroup(segments, 4, 1, 200);
  std::vector<TheTriangle> main(12);
  EXPECT_EQ(cube.TrimDownfacingTriangles(4, main.data(), segments.data(), 0), 0);
  EXPECT_EQ(CornerOf(main[3], 1), (Point{100, 0, 0}));
  EXPECT_EQ(CornerOf(main[4], 1), (Point{0, 0, 0}));
  EXPECT_EQ(cube.TrimDownfacingTriangles(5, main.data(), segments.data(), 0), 0);
  EXPECT_EQ(CornerOf(main[4], 3), (Point{202, 0, 0}));
  for (const int n : {0, -1}) EXPECT_EQ(cube.TrimDownfacingTriangles(n, nullptr, nullptr, 0), 0);
}

TEST(ZCompensationBuckets, KnifeOperationsAnswer0AndChangeNothing) {
  CTL cube = CubeWithNormals();
  TheTriangle facet = Record(1, 2);
  TheSegment segment = Segment({1, 1, 1}, {2, 2, 2});
  EXPECT_EQ(cube.CreateKnifeBucket(1, 1, &facet, &segment, 0.5f), 0);
  EXPECT_EQ(cube.TrimUpfacingTriangles(1, 1, &facet, &segment, 0.5f), 0);
  EXPECT_EQ(CornerOf(facet, 1), (Point{2, 1, 1}));
  EXPECT_EQ(segment.state, 0);
  EXPECT_EQ(test_support::VerticesOf(cube), kCubeCorners);
}

}  // namespace
