#include "cli/fill.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "cli/context.h"

namespace {

using trqprep::Fill;
using trqprep::Json;
using trqprep::NumberToJson;

std::string Filled(std::string_view form, const Json& facts) { return Fill(form, {&facts}); }

TEST(Fill, PutsFactsInTheirPlaces) {
  const Json facts{{"file", "a.stl"}, {"facets", 12}, {"push", {{"min", NumberToJson(0.5)}}}};
  EXPECT_EQ(Filled("{file}: {facets} facets, from {push.min}\n", facts), "a.stl: 12 facets, from 0.5\n");
  EXPECT_EQ(Filled("", facts), "");
  EXPECT_EQ(Filled("{{{facets}}} and {{}}", facts), "{12} and {}");
}

TEST(Fill, KeepsATextOnItsLineAndItsBytes) {
  EXPECT_EQ(Filled("{file}", {{"file", "two\nlines {facets}"}}), "two\\x0alines {facets}");
  EXPECT_EQ(Filled("{file}", {{"file", trqprep::TextToJson("\xff.stl")}}), "\xff.stl");
}

TEST(Fill, PrintsNumbersWithSoManyDigits) {
  const Json facts{{"third", NumberToJson(1.0 / 3)}, {"ten", 10}, {"zero", NumberToJson(-0.00001)}};
  EXPECT_EQ(Filled("{third:4} {third:1} {ten:3} {zero:2}", facts), "0.3333 0.3 10 0");
}

// The nearest 32-bit number to 0.0025 is 0.00249999994, which 3 digits round down; the nearest double is a
// little above it.
TEST(Fill, RoundsNumbersOf32BitsFromWhatTheyAre) {
  const Json facts{{"number", NumberToJson(0.0025f)}};
  EXPECT_EQ(Filled("{number:3f}", facts), "0.002");
  EXPECT_EQ(Filled("{number:3}", facts), "0.003");
}

TEST(Fill, PrintsWhatIsNoNumberAsOne) {
  const float infinite = std::numeric_limits<float>::infinity();
  EXPECT_EQ(Filled("{a:4} {b:4f}", {{"a", NumberToJson(infinite)}, {"b", NumberToJson(-infinite)}}),
            "inf -inf");
  EXPECT_EQ(Filled("{a:4}", {{"a", "nan:7fc00000"}}), "nan");
}

TEST(Fill, PrintsLists) {
  const Json facts{{"box", Json::array({1.5, 2, 0.26})}, {"none", Json::array()}};
  EXPECT_EQ(Filled("{box:1} mm, {box:x1} mm, {box:#} sides", facts),
            "1.5, 2, 0.3 mm, 1.5 x 2 x 0.3 mm, 3 sides");
  EXPECT_EQ(Filled("[{none}] {none:#}", facts), "[] 0");
}

TEST(Fill, MakesColumns) {
  const Json facts{{"name", "ab"}, {"number", NumberToJson(2.25)}, {"nothing", nullptr}};
  EXPECT_EQ(Filled("{name|<4}|{name|>4}|{number:1|>5}|{nothing|>3}", facts), "ab  |  ab|  2.2|  -");
}

TEST(Fill, TakesAFactFromTheFirstThatHasIt) {
  const Json near{{"file", "near"}}, far{{"file", "far"}, {"unit", "mm"}};
  EXPECT_EQ(Fill("{file} {unit}", {&near, &far}), "near mm");
}

TEST(Fill, ThrowsForAFactThatIsNotThere) {
  const Json facts{{"push", {{"min", 1}}}, {"file", "a"}};
  for (const char* form : {"{pull}", "{push.max}", "{file.min}", "{}", "{min}"}) {
    EXPECT_THROW(Filled(form, facts), std::logic_error) << form;
  }
  EXPECT_ANY_THROW(Filled("{file:3}", facts)) << "a text has no digits";
}

TEST(Context, TellsTheFactsThatItWasGiven) {
  trqprep::Context context;
  context.data_units = trqprep::Units::kInch;
  context.Report({{"output", "o.stl"}, {"raised", 2}}, "{output}: {raised} of {all} {unit}\n", {{"all", 3}});
  context.TellEach(Json::array({Json{{"z", 1}}, Json{{"z", 2}}}), "{z} {raised}\n");
  EXPECT_EQ(context.text, "o.stl: 2 of 3 in\n1 2\n2 2\n");
  EXPECT_EQ(context.data.dump(), R"({"output":"o.stl","raised":2})");
}

}  // namespace
