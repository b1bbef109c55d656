#include "trqprep/message_table.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>

#include "trqprep/message.h"
#include "trqprep/observer.h"

namespace trqprep {
namespace {

std::string Severities(const MessageRow& row) {
  std::string names = SeverityName(row.severity);
  for (const Severity other : {Severity::kError, Severity::kWarning, Severity::kNote}) {
    if (row.also & (1u << static_cast<unsigned>(other))) names += std::string(", ") + SeverityName(other);
  }
  return names;
}

TEST(MessageTable, EveryCodeIsFoundByItsText) {
  for (const MessageRow& row : MessageTable()) {
    EXPECT_EQ(FindRow(row.text), &row) << row.text;
    EXPECT_EQ(&RowOf(row.code), &row) << row.text;
    EXPECT_EQ(row.also & (1u << static_cast<unsigned>(row.severity)), 0u) << row.text;
  }
  EXPECT_EQ(FindRow("STL-SHORTER"), nullptr);
  EXPECT_EQ(std::string(RowOf(Code::kStlShort).text), "STL-SHORT");
}

// docs/error-codes.md lists every row and no other.
TEST(MessageTable, IsTheOneInTheDocuments) {
  std::set<std::string> rows;
  for (const MessageRow& row : MessageTable()) {
    rows.insert(std::string("| `") + row.text + "` | " + Severities(row) + " | " + row.title + " | " +
                row.hint + " |");
  }
  std::ifstream document(TRQ_SOURCE_DIR "/docs/error-codes.md", std::ios::binary);
  std::set<std::string> documented;
  bool begun = false;
  for (std::string line; std::getline(document, line);) {
    begun = begun || line == "| Code | Severity | Meaning | Next step |";
    if (begun && line.rfind("| `", 0) == 0) documented.insert(line);
  }
  EXPECT_EQ(documented, rows);
}

TEST(MessageTable, EveryCodeHasAStoryAndANextStep) {
  for (const MessageRow& row : MessageTable()) {
    EXPECT_GT(std::string(row.story).size(), 80u) << row.text;
    EXPECT_GT(std::string(row.hint).size(), 5u) << row.text;
    if (row.severity == Severity::kError) {
      EXPECT_EQ(std::string(row.hint).find("none needed"), std::string::npos);
    }
  }
}

TEST(MessageTable, AnErrorWithoutAHintGetsTheNextStepOfItsCode) {
  Observer observer;
  observer.Error(Message(Code::kMeshEmpty, "a.stl", ""));
  observer.Error(Message(Code::kMeshEmpty, "a.stl", "").Hint("its own"));
  observer.Warn(Message(Code::kStlShort, "a.stl", ""));
  EXPECT_EQ(observer.messages()[0].hint, "ask for more facets");
  EXPECT_EQ(observer.messages()[1].hint, "its own");
  EXPECT_EQ(observer.messages()[2].hint, "");
  EXPECT_EQ(NextStep(Code::kUsage), "'trqprep COMMAND --help' tells what it takes");
  EXPECT_EQ(NextStep(Code::kAnsweredNo), "--yes answers yes");
}

TEST(MessageTable, FindingsHaveTheSeverityOfTheirCode) {
  EXPECT_EQ(Finding(Code::kOpenEdges, "a.stl", "").severity, Severity::kWarning);
  EXPECT_EQ(Finding(Code::kOverlap, "", "").severity, Severity::kError);
}

}  // namespace
}  // namespace trqprep
