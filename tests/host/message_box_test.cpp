#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "trq/host.h"

namespace {

struct Asked {
  std::vector<std::string> texts;
  std::vector<unsigned> buttons;
  int answer = trq::message_box::kYes;
};

int Note(const char* text, unsigned buttons, void* user) {
  Asked& asked = *static_cast<Asked*>(user);
  asked.texts.push_back(text);
  asked.buttons.push_back(buttons);
  return asked.answer;
}

class MessageBox : public testing::Test {
 protected:
  ~MessageBox() override { trq::SetMessageBoxHandler(nullptr, nullptr); }
};

TEST_F(MessageBox, HasTheInterfacesNumbers) {
  static_assert(trq::message_box::kOkButton == 0 && trq::message_box::kYesNoButtons == 4);
  static_assert(trq::message_box::kOk == 1 && trq::message_box::kYes == 6 && trq::message_box::kNo == 7);
}

TEST_F(MessageBox, DefaultWritesTheTextAndAnswersOkOrNo) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(AfxMessageBox("Unable to open the file"), 1);
  EXPECT_EQ(AfxMessageBox("Delete it ?", 4), 7);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to open the file\nDelete it ?\n");
}

TEST_F(MessageBox, HandlerSeesTextButtonsAndUserAndItsAnswerIsReturned) {
  Asked asked;
  trq::SetMessageBoxHandler(Note, &asked);
  testing::internal::CaptureStderr();
  EXPECT_EQ(AfxMessageBox("Delete it ?", 4), 6);
  asked.answer = 7;
  EXPECT_EQ(AfxMessageBox("Done", 0), 7);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(asked.texts, std::vector<std::string>({"Delete it ?", "Done"}));
  EXPECT_EQ(asked.buttons, std::vector<unsigned>({4, 0}));
}

TEST_F(MessageBox, NullHandlerRestoresTheDefault) {
  Asked asked;
  trq::SetMessageBoxHandler(Note, &asked);
  trq::SetMessageBoxHandler(nullptr, &asked);
  testing::internal::CaptureStderr();
  EXPECT_EQ(AfxMessageBox("Delete it ?", 4), 7);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Delete it ?\n");
  EXPECT_TRUE(asked.texts.empty());
}

TEST_F(MessageBox, TakesANullTextAsEmpty) {
  Asked asked;
  trq::SetMessageBoxHandler(Note, &asked);
  AfxMessageBox(nullptr);
  EXPECT_EQ(asked.texts, std::vector<std::string>({""}));
}

TEST_F(MessageBox, AnotherThreadKeepsItsOwnHandler) {
  Asked asked;
  trq::SetMessageBoxHandler(Note, &asked);
  testing::internal::CaptureStderr();
  int answer = 0;
  std::thread([&answer] { answer = AfxMessageBox("Delete it ?", 4); }).join();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Delete it ?\n");
  EXPECT_EQ(answer, 7);
  EXPECT_TRUE(asked.texts.empty());
}

}  // namespace
