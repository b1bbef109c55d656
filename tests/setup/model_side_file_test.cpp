#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <filesystem>

#include "tests/support/message_box_recorder.h"
#include "tests/support/temp_dir.h"
#include "trq/setup.h"

using test_support::MessageBoxRecorder;
using test_support::TempDir;

namespace {

constexpr char kLine[] = "1.000000 2.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n";

class SideFile : public testing::Test {
 protected:
  SideFile() { model.ComponentInfo.text = dir.File("part.stl"); }

  /// A turn about Z by 90 degrees and a move by (10, 0, 0) as the latest step.
  void TurnAndMove() {
    const float turn[16] = {0, -1, 0, 10, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    std::copy(turn, turn + 16, model.ComponentInfo.placement());
  }
  void Tilt() {
    const float tilt[16] = {1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1};
    std::copy(tilt, tilt + 16, model.ComponentInfo.placement());
  }

  TempDir dir;
  MODEL model;
};

}  // namespace

TEST_F(SideFile, TranslatesPointsAndKeepsTheRest) {
  dir.Write("part.V_D", "1 2 3  0 0 1  0.5\n");
  EXPECT_EQ(model.TranslateVDFile(1, 0, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), "2.000000 2.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n");
  EXPECT_FALSE(dir.Has("part.V_D.bak"));
}

TEST_F(SideFile, WithoutAFileNothingIsDone) {
  EXPECT_EQ(model.TranslateVDFile(1, 0, 0), 0);
  EXPECT_EQ(model.MoveVDFileLast(0), 0);
  EXPECT_EQ(model.InvMoveVDFileLast(0), 0);
  EXPECT_EQ(model.CopyVDFileFrom(dir.File("other.stl"), 0, 0, 0), 0);
  EXPECT_FALSE(dir.Has("part.V_D"));
}

TEST_F(SideFile, LinesWithoutSevenNumbersAreDropped) {
  dir.Write("part.V_D", std::string("# a remark\n1 2 3  4 5 6\n\n") + kLine + "1,5 2 3  4 5 6  7\n" +
                            "1 2 3  4 5 6  7 and more\r\n" + "1e1 .5 -3.  +4 5E-1 6  1e99");
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), std::string(kLine) +
                                      "1.000000 2.000000 3.000000  4.000000 5.000000 6.000000  7.000000\n" +
                                      "10.000000 0.500000 -3.000000  4.000000 0.500000 6.000000  inf\n");
}

TEST_F(SideFile, NameWithoutPeriodGetsTheEnding) {
  model.ComponentInfo.text = (dir.path() / "part").string();
  if (dir.path().string().find('.') != std::string::npos) FAIL() << "the folder's name must hold no period";
  dir.Write("part.V_D", kLine);
  EXPECT_EQ(model.TranslateVDFile(0, 0, 1), 1);
  EXPECT_EQ(dir.Read("part.V_D").substr(0, 26), "1.000000 2.000000 4.000000");
}

TEST_F(SideFile, CarriageReturnsAreReadAndLineFeedsWritten) {
  dir.Write("part.V_D", "1 2 3  0 0 1  0.5\r\n4 5 6  0 0 -1  2.5\r\n\r\n");
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D"),
            std::string(kLine) + "4.000000 5.000000 6.000000  0.000000 0.000000 -1.000000  2.500000\n");
}

TEST_F(SideFile, DoesNotFollowTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  // A locale with a decimal comma where the system has one; the expectation is the same either way.
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_ALL, name)) break;
  }
  dir.Write("part.V_D", "0.5 2 3  0 0 1  0.5\n");
  const int answer = model.TranslateVDFile(0.5f, 0, 0);
  std::setlocale(LC_ALL, before.c_str());
  EXPECT_EQ(answer, 1);
  EXPECT_EQ(dir.Read("part.V_D"), kLine);
}

TEST_F(SideFile, LinesBeyondTheirLimitAreDropped) {
  const std::string numbers = "1 2 3  0 0 1  ";
  const std::string filled = numbers + std::string(518 - numbers.size() - 3, ' ') + "0.5";  // 518 characters
  // The end of a long line is no line of its own.
  dir.Write("part.V_D", filled + "\n" + filled + " \n" + filled + " 9 9 9 9 9 9 9\n" + filled);
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), std::string(kLine) + kLine);
}

TEST_F(SideFile, NulEndsItsLineOnly) {
  dir.Write("part.V_D", std::string("1 2 3  0 0 1\0 0.5\n", 18) + kLine);
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), kLine);
}

TEST_F(SideFile, KeptPeriodOfAFolderEndsTheName) {
  std::filesystem::create_directory(dir.path() / "v1.5");
  model.ComponentInfo.text = dir.File("v1.5/part");
  dir.Write("v1.V_D", kLine);
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 1);
  model.ComponentInfo.text = dir.File("v1.5/part.stl");
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 0);
}

TEST_F(SideFile, BackslashesLeadToTheFile) {
  model.ComponentInfo.text = dir.path().string() + "\\part.stl";
  dir.Write("part.V_D", kLine);
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), kLine);
  EXPECT_FALSE(dir.Has("part.V_D.bak"));
}

TEST_F(SideFile, OldBackupIsReplaced) {
  dir.Write("part.V_D", kLine);
  dir.Write("part.V_D.bak", "old");
  EXPECT_EQ(model.TranslateVDFile(0, 0, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), kLine);
  EXPECT_FALSE(dir.Has("part.V_D.bak"));
}

TEST_F(SideFile, FileThatCannotBeMovedAwayIsLeftAlone) {
  dir.Write("part.V_D", kLine);
  std::filesystem::create_directory(dir.path() / "part.V_D.bak");  // a file does not replace a folder
  EXPECT_EQ(model.TranslateVDFile(1, 0, 0), 0);
  EXPECT_EQ(dir.Read("part.V_D"), kLine);
}

TEST_F(SideFile, BackupStaysWhenAnOpenFails) {
  // A folder of that name is moved away as a file is, but does not open.
  std::filesystem::create_directory(dir.path() / "part.V_D");
  EXPECT_EQ(model.TranslateVDFile(1, 0, 0), 0);
  EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "part.V_D.bak"));
  std::filesystem::remove(dir.path() / "part.V_D");
  std::filesystem::rename(dir.path() / "part.V_D.bak", dir.path() / "part.V_D");
  EXPECT_EQ(model.MoveVDFileLast(0), 0);
  EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "part.V_D.bak"));
}

TEST_F(SideFile, CopiesAnotherModelsFile) {
  dir.Write("other.V_D", kLine);
  EXPECT_EQ(model.CopyVDFileFrom(dir.File("other.ctl"), 0, 1, 0), 1);
  EXPECT_EQ(dir.Read("part.V_D").substr(0, 26), "1.000000 3.000000 3.000000");
  EXPECT_EQ(dir.Read("other.V_D"), kLine);
  EXPECT_EQ(model.CopyVDFileFrom(dir.File("part.stl"), 0, 1, 0), 1);  // onto itself
  EXPECT_EQ(dir.Read("part.V_D").substr(0, 26), "1.000000 4.000000 3.000000");
}

TEST_F(SideFile, KeptCopyingAnswersDoneEvenWhenItFails) {
  dir.Write("other.V_D", kLine);
  model.ComponentInfo.text = dir.File("none/part.stl");
  EXPECT_EQ(model.CopyVDFileFrom(dir.File("other.stl"), 0, 0, 0), 1);
  model.ComponentInfo.text = dir.File("part.stl");
  dir.Write("part.V_D", kLine);
  std::filesystem::create_directory(dir.path() / "folder.V_D");
  EXPECT_EQ(model.CopyVDFileFrom(dir.File("folder.stl"), 1, 0, 0), 1);  // exists, but does not open
  EXPECT_EQ(dir.Read("part.V_D"), kLine);
}

TEST_F(SideFile, DeletingIsAsked) {
  MessageBoxRecorder no(trq::message_box::kNo);
  EXPECT_EQ(model.DeleteVDFile(), 0);  // there is none
  EXPECT_TRUE(no.boxes().empty());
  dir.Write("part.V_D", kLine);
  EXPECT_EQ(model.DeleteVDFile(), 1);
  EXPECT_TRUE(dir.Has("part.V_D"));
  ASSERT_EQ(no.boxes().size(), 1u);
  EXPECT_EQ(no.boxes()[0].text,
            "It is recommanded to delete the Vents and Drains file while rotating a part. \nDo you want to "
            "delete " +
                dir.File("part.V_D") + "?");
  EXPECT_EQ(no.boxes()[0].buttons, 4u);
  MessageBoxRecorder yes(trq::message_box::kYes);
  EXPECT_EQ(model.DeleteVDFile(), 0);
  EXPECT_FALSE(dir.Has("part.V_D"));
}

TEST_F(SideFile, FollowsTheLatestMoveAndBack) {
  TurnAndMove();
  dir.Write("part.V_D", kLine);
  EXPECT_EQ(model.MoveVDFileLast(0), 1);
  // (1, 2, 3) turns to (-2, 1, 3) and moves to (8, 1, 3).
  EXPECT_EQ(dir.Read("part.V_D"), "8.000000 1.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n");
  EXPECT_EQ(model.InvMoveVDFileLast(0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), kLine);
}

TEST_F(SideFile, LatestMoveIsCurrentTimesInverseOfTheOneBefore) {
  TurnAndMove();
  // Before, the part had been moved by (10, 0, 0): what is left is the turn about the point (10, 0).
  model.ComponentInfo.record.previous_matrix[3] = 10;
  dir.Write("part.V_D", "11 2 3  0 0 0  0\n");
  EXPECT_EQ(model.MoveVDFileLast(0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), "8.000000 1.000000 3.000000  0.000000 0.000000 0.000000  0.000000\n");
  EXPECT_EQ(model.InvMoveVDFileLast(0), 1);
  EXPECT_EQ(dir.Read("part.V_D"), "11.000000 2.000000 3.000000  0.000000 0.000000 0.000000  0.000000\n");
}

TEST_F(SideFile, InverseIsThatOfARigidMove) {
  float* matrix = model.ComponentInfo.placement();
  matrix[0] = matrix[5] = matrix[10] = 2;
  matrix[3] = 10;
  dir.Write("part.V_D", "1 2 3  0 0 0  0\n");
  EXPECT_EQ(model.InvMoveVDFileLast(0), 1);
  // The transposed 3x3 part doubles again: (2, 4, 6), and the offset is -(2 * 10).
  EXPECT_EQ(dir.Read("part.V_D").substr(0, 28), "-18.000000 4.000000 6.000000");
}

TEST_F(SideFile, TiltBeginsBelowAZZElementOf099) {
  MessageBoxRecorder boxes;
  dir.Write("part.V_D", kLine);
  model.ComponentInfo.placement()[10] = 0.9901f;
  EXPECT_EQ(model.MoveVDFileLast(0), 1);
  EXPECT_TRUE(dir.Has("part.V_D"));
  EXPECT_TRUE(boxes.boxes().empty());
  model.ComponentInfo.placement()[10] = 0.9899f;
  EXPECT_EQ(model.MoveVDFileLast(0), 1);
  EXPECT_FALSE(dir.Has("part.V_D"));
  EXPECT_EQ(boxes.boxes().size(), 1u);
}

TEST_F(SideFile, FailedDeletionAfterATiltIsToldByTheAnswer) {
  MessageBoxRecorder boxes;
  Tilt();
  std::filesystem::create_directory(dir.path() / "part.V_D");  // is not deleted as a file is
  EXPECT_EQ(model.MoveVDFileLast(0), 0);
  EXPECT_EQ(boxes.boxes().size(), 1u);
  EXPECT_TRUE(dir.Has("part.V_D"));
}

TEST_F(SideFile, MillimetrePointsMeetInchMatrices) {
  TurnAndMove();  // 10 inches
  dir.Write("part.V_D", "25.4 50.8 76.2  0 0 0  0\n");
  EXPECT_EQ(model.MoveVDFileLast(1), 1);
  // (1, 2, 3) inches to (8, 1, 3) inches.
  EXPECT_EQ(dir.Read("part.V_D").substr(0, 24), "203.199997 25.400000 76.");
}

TEST_F(SideFile, TiltingDeletesTheFileAfterAMessage) {
  MessageBoxRecorder boxes;
  Tilt();
  dir.Write("part.V_D", kLine);
  EXPECT_EQ(model.MoveVDFileLast(0), 1);
  EXPECT_FALSE(dir.Has("part.V_D"));
  ASSERT_EQ(boxes.boxes().size(), 1u);
  EXPECT_EQ(boxes.boxes()[0].text, "You are rotating " + dir.File("part.stl") +
                                       " about X and/or Y axis.\nVents and Drains file for this part will be "
                                       "deleted.");
  EXPECT_EQ(boxes.boxes()[0].buttons, 0u);
  dir.Write("part.V_D", kLine);
  EXPECT_EQ(model.InvMoveVDFileLast(0), 1);
  ASSERT_EQ(boxes.boxes().size(), 2u);
  EXPECT_EQ(boxes.boxes()[1].text, "You are undoing rotation " + dir.File("part.stl") +
                                       " about X and/or Y axis.\nVents and Drains file for this part will be "
                                       "deleted.");
  EXPECT_FALSE(dir.Has("part.V_D"));
}

TEST_F(SideFile, MemoryFormsMovePlacedPointsWithoutQuestions) {
  MessageBoxRecorder boxes;
  VentOrDrain vent;
  vent.point[0] = 1;
  vent.point[1] = 2;
  vent.point[2] = 3;
  vent.second[0] = 4;
  vent.seventh = 5;
  model.vents_and_drains.vents = {vent};
  model.vents_and_drains.drains = {vent, vent};
  EXPECT_EQ(model.TranslateVD(1, 1, 1), 1);
  EXPECT_EQ(model.vents_and_drains.vents[0].point[2], 4);
  EXPECT_EQ(model.vents_and_drains.drains[1].point[0], 2);
  EXPECT_EQ(model.vents_and_drains.drains[1].second[0], 4);
  EXPECT_EQ(model.TranslateVD(-1, -1, -1), 1);
  Tilt();  // no message in memory: y' = -z, z' = y
  EXPECT_EQ(model.MoveVDLast(0), 1);
  EXPECT_EQ(model.vents_and_drains.vents[0].point[1], -3);
  EXPECT_EQ(model.vents_and_drains.vents[0].point[2], 2);
  EXPECT_EQ(model.InvMoveVDLast(0), 1);
  EXPECT_EQ(model.vents_and_drains.drains[0].point[1], 2);
  EXPECT_EQ(model.vents_and_drains.drains[0].seventh, 5);
  EXPECT_TRUE(boxes.boxes().empty());
  EXPECT_EQ(model.DeleteVD(), 1);
  EXPECT_TRUE(model.vents_and_drains.vents.empty());
  EXPECT_TRUE(model.vents_and_drains.drains.empty());
  EXPECT_EQ(model.vents_and_drains.drains.capacity(), 0u);
}

TEST_F(SideFile, MemoryFormsKnowMillimetresAndTheMatrixBefore) {
  TurnAndMove();  // inches
  model.ComponentInfo.record.previous_matrix[3] = 10;
  VentOrDrain drain;
  drain.point[0] = 11 * 25.4f;
  drain.point[1] = 2 * 25.4f;
  model.vents_and_drains.drains = {drain};
  const float* point = model.vents_and_drains.drains[0].point;
  EXPECT_EQ(model.MoveVDLast(1), 1);
  // (11, 2) inches, back by 10, turned to (-2, 1), moved by 10.
  EXPECT_EQ(point[0], 203.2f);
  EXPECT_EQ(point[1], 25.4f);
  EXPECT_EQ(model.InvMoveVDLast(1), 1);
  EXPECT_EQ(point[0], 279.4f);
  EXPECT_EQ(point[1], 50.8f);
}

TEST_F(SideFile, WhatIsNotANumberIsWrittenWithoutASign) {
  dir.Write("part.V_D", "inf -inf -nan  nan -nan 1  0.5\n");
  EXPECT_EQ(model.TranslateVDFile(-HUGE_VALF, HUGE_VALF, 1), 1);
  EXPECT_EQ(dir.Read("part.V_D"), "nan nan nan  nan nan 1.000000  0.500000\n");
}

#ifndef _WIN32  // where a backslash is never a part of a name
TEST_F(SideFile, ANameWithBackslashesMeansOneFileInEveryStep) {
  std::filesystem::create_directory(dir.path() / "sub");
  const std::string untouched = "9 9 9  0 0 1  0.5\n";
  dir.Write("sub\\p.V_D", "1 2 3  0 0 1  0.5\n");
  dir.Write("sub/p.V_D", untouched);
  model.ComponentInfo.text = dir.path().string() + "/sub\\p.stl";
  EXPECT_EQ(model.TranslateVDFile(1, 0, 0), 1);
  EXPECT_EQ(dir.Read("sub\\p.V_D"), "2.000000 2.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n");
  EXPECT_EQ(dir.Read("sub/p.V_D"), untouched);
  EXPECT_FALSE(dir.Has("sub\\p.V_D.bak"));
  EXPECT_FALSE(dir.Has("sub/p.V_D.bak"));
  TurnAndMove();
  EXPECT_EQ(model.MoveVDFileLast(0), 1);
  EXPECT_EQ(dir.Read("sub\\p.V_D"), "8.000000 2.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n");
  EXPECT_EQ(dir.Read("sub/p.V_D"), untouched);
}
#endif
