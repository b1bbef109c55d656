#include "trqprep/json_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace trqprep {
namespace {

uint32_t BitsOf(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

float FromBits(uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

Json Reread(const Json& value) { return ParseJson(value.dump()); }

TEST(JsonText, EveryKindOfFloatReadsBackToItsBits) {
  std::mt19937 random(1);
  for (int i = 0; i < 200000; ++i) {
    const float value = FromBits(random());
    const auto back = FloatFromJson(Reread(NumberToJson(value)));
    ASSERT_TRUE(back.has_value());
    ASSERT_EQ(BitsOf(*back), BitsOf(value));
    // Readers that know doubles only end at the same 32-bit value.
    if (std::isfinite(value)) {
      ASSERT_EQ(static_cast<float>(Reread(NumberToJson(value)).get<double>()), value);
    }
  }
#ifdef __i386__
  constexpr uint32_t kSignaling =
      0x7FC00001u;  // functions there return floats in a register that makes it this
#else
  constexpr uint32_t kSignaling = 0x7F800001u;
#endif
  for (const uint32_t bits : {0u, 0x80000000u, 1u, 0x7FFFFFu, 0x800000u, 0x7F7FFFFFu, 0x7F800000u,
                              0xFF800000u, 0x7FC00000u, 0xFFC12345u, kSignaling}) {
    const auto back = FloatFromJson(Reread(NumberToJson(FromBits(bits))));
    ASSERT_TRUE(back.has_value()) << std::hex << bits;
    EXPECT_EQ(BitsOf(*back), bits);
  }
}

TEST(JsonText, FloatsPrintTheirShortestDecimal) {
  EXPECT_EQ(NumberToJson(0.1f).dump(), "0.1");
  EXPECT_EQ(NumberToJson(19.999998f).dump(), "19.999998");
  EXPECT_EQ(NumberToJson(std::numeric_limits<float>::quiet_NaN()), "nan:7fc00000");
  EXPECT_EQ(NumberToJson(-std::numeric_limits<float>::infinity()), "-inf");
  EXPECT_EQ(NumberToJson(std::numeric_limits<double>::infinity()), "inf");
}

TEST(JsonText, OtherValuesAreNoFloats) {
  for (const char* text : {"\"nan\"", "\"nan:7fc0000\"", "\"nan:00000000\"", "\"nan:7FC00000\"",
                           "\"infinity\"", "null", "[1]", "1e99", "true"}) {
    EXPECT_FALSE(FloatFromJson(ParseJson(text)).has_value()) << text;
  }
}

TEST(JsonText, TextsThatAreNoUtf8TravelAsBytes) {
  const std::string good[] = {
      "", "plain", "na\xC3\xAFve", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", std::string("a\0b", 3)};
  for (const std::string& text : good) {
    EXPECT_TRUE(TextToJson(text).is_string());
    EXPECT_EQ(TextFromJson(Reread(TextToJson(text))), text);
  }
  const std::string bad[] = {"\x80",
                             "\xC3",
                             "\xC0\xAF",
                             "\xE0\x80\x80",
                             "\xED\xA0\x80",
                             "\xF4\x90\x80\x80",
                             "\xF8\x88\x80\x80\x80",
                             "ok\xFF",
                             "\xE2\x82"};
  for (const std::string& text : bad) {
    EXPECT_FALSE(IsUtf8(text)) << ToHex(text);
    EXPECT_TRUE(TextToJson(text).contains("bytes"));
    EXPECT_EQ(TextFromJson(Reread(TextToJson(text))), text);
  }
  EXPECT_EQ(TextToJson("caf\xE9"), ParseJson(R"({"bytes":"636166e9"})"));
  EXPECT_FALSE(TextFromJson(ParseJson(R"({"bytes":"6"})")).has_value());
  EXPECT_FALSE(TextFromJson(ParseJson(R"({"bytes":"zz"})")).has_value());
  EXPECT_FALSE(TextFromJson(ParseJson("5")).has_value());
}

std::string Nested(int depth) {
  return std::string(static_cast<std::size_t>(depth), '[') +
         std::string(static_cast<std::size_t>(depth), ']');
}

std::string Members(int count) {
  std::string text = "{";
  for (int i = 0; i < count; ++i) text += (i ? ",\"" : "\"") + std::to_string(i) + "\":1";
  return text + "}";
}

TEST(JsonFromAnywhere, DepthAndMembersEnd) {
  EXPECT_EQ(ParseJson(Nested(64)), ParseJson(Nested(64)));
  EXPECT_THROW(ParseJson(Nested(65)), JsonMistake);
  EXPECT_THROW(ParseJson("{\"a\":" + Nested(64) + "}"), JsonMistake);
  EXPECT_THROW(ParseJson(std::string(3000000, '[')), JsonMistake);
  EXPECT_EQ(ParseJson(Members(1024)).size(), 1024u);
  EXPECT_THROW(ParseJson(Members(1025)), JsonMistake);
  EXPECT_THROW(ParseJson("[1e400]"), JsonMistake);
  EXPECT_THROW(ParseJson("{\"a\":{\"b\":-51e3900\"c\":10"), JsonMistake);
  // Each object has its own count, and members of its own members are not among them.
  EXPECT_EQ(ParseJson("[" + Members(1000) + "," + Members(1000) + "]").size(), 2u);
  EXPECT_EQ(ParseJson("{\"a\":" + Members(1024) + ",\"b\":" + Members(1024) + "}").size(), 2u);
}

std::string Values(int count) {
  std::string text = "[";
  for (int i = 0; i < count; ++i) text += i ? ",{}" : "{}";
  return text + "]";
}

TEST(JsonFromAnywhere, ValuesEnd) {
  // The list is a value, too.
  EXPECT_EQ(ParseJson(Values((1 << 20) - 1)).size(), (1u << 20) - 1);
  EXPECT_THROW(ParseJson(Values(1 << 20)), JsonMistake);
}

TEST(JsonFromAnywhere, TheLastOfEqualMembersCountsAtThePlaceOfTheFirst) {
  EXPECT_EQ(ParseJson(R"({"a":1,"b":2,"a":3})").dump(), R"({"a":3,"b":2})");
}

TEST(JsonRows, AreWrittenLikeAList) {
  const Json rows = Json::Rows(3, [](size_t i) -> Json { return {{"i", i}}; });
  const Json list = Json::array({{{"i", 0u}}, {{"i", 1u}}, {{"i", 2u}}});
  const Json none = Json::Rows(0, [](size_t) { return Json(); });
  EXPECT_EQ(rows.size(), 3u);
  for (const int indent : {-1, 0, 2}) {
    EXPECT_EQ(Json({{"rows", rows}}).dump(indent), Json({{"rows", list}}).dump(indent));
    EXPECT_EQ(none.dump(indent), "[]");
  }
  std::vector<Json> seen;
  rows.ForEach([&](const Json& row) { seen.push_back(row); });
  EXPECT_EQ(Json(seen), list);
}

TEST(JsonRows, DocumentsAreWrittenInPieces) {
  size_t longest = 0, pieces = 0;
  std::string whole;
  const auto sink = [&](std::string_view piece) {
    longest = std::max(longest, piece.size());
    pieces += 1;
    whole += piece;
  };
  const auto row = [](size_t i) -> Json { return {{"row", i}, {"text", "of some length"}}; };
  const Json document{{"before", 1}, {"rows", Json::Rows(20000, row)}, {"after", 2}};
  WriteJsonDocument(document, sink);
  EXPECT_EQ(whole, JsonDocument(document));
  EXPECT_LT(longest, 70000u);
  EXPECT_GT(pieces, 10u);
  EXPECT_EQ(ParseJson(whole)["rows"][19999]["row"].get<int>(), 19999);
}

TEST(JsonFromAnywhere, MistakesTellWhere) {
  for (const char* text : {"", "{", "[1,]", "nul", "\"\xFF\"", "[1] 2"}) {
    try {
      ParseJson(text);
      ADD_FAILURE() << text;
    } catch (const JsonMistake& mistake) {
      ASSERT_TRUE(mistake.byte.has_value()) << text;
      EXPECT_LE(*mistake.byte, std::strlen(text) + 1);
    }
  }
  EXPECT_EQ(ParseJson("{\"b\":1,\"a\":[true,null]}").dump(), "{\"b\":1,\"a\":[true,null]}");
}

}  // namespace
}  // namespace trqprep
