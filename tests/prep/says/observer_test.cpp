#include "trqprep/observer.h"

#include <gtest/gtest.h>

#include "trq/host.h"

namespace trqprep {
namespace {

class Recorder : public Observer {
 public:
  std::vector<std::string> heard;
  bool cancelled = false;
  bool yes = false;
  bool Ask(const std::string& question) override {
    heard.push_back("ask " + question);
    return yes;
  }

 protected:
  void OnMessage(const Message& message) override { heard.push_back("say " + message.text); }
  void OnProgress(const std::string& what, double) override { heard.push_back("do " + what); }
  bool Cancelled() override { return cancelled; }
};

TEST(Observer, KeepsMessagesWithTheirSeverity) {
  Observer observer;
  observer.Note(Message(Code::kInternal, "a", "one"));
  observer.Warn(Message(Code::kInternal, "b", "two"));
  observer.Error(Message(Code::kInternal, "c", "three").As(Severity::kNote));
  ASSERT_EQ(observer.messages().size(), 3u);
  EXPECT_EQ(observer.messages()[0].severity, Severity::kNote);
  EXPECT_EQ(observer.messages()[1].severity, Severity::kWarning);
  EXPECT_EQ(observer.messages()[2].severity, Severity::kError);
  EXPECT_EQ(observer.messages()[1].text, "two");
}

TEST(Observer, SaysEachOnceWhileToldSo) {
  Recorder observer;
  const auto say = [&observer](const char* file, int layer) {
    observer.Warn(Message(Code::kNoRecoat, file, "text").At({{"layer", layer}}));
  };
  say("a", 1);
  say("a", 1);
  observer.SayEachOnce();
  say("a", 1);  // was said before
  say("b", 1);
  say("a", 2);
  say("b", 1);
  EXPECT_EQ(observer.heard.size(), 4u);
  EXPECT_EQ(observer.messages().size(), 6u);
  observer.ForgetRepeats();
  ASSERT_EQ(observer.messages().size(), 4u);
  EXPECT_EQ(observer.messages()[1].file, "a");
  EXPECT_EQ(observer.messages()[2].file, "b");
  EXPECT_EQ(observer.messages()[3].where["layer"], 2);
  say("a", 2);
  EXPECT_EQ(observer.heard.size(), 5u);
}

TEST(Observer, PlainOneNeitherCancelsNorAgrees) {
  Observer observer;
  EXPECT_NO_THROW(observer.Progress("work", 0.5));
  EXPECT_FALSE(observer.Ask("really?"));
}

TEST(Observer, ProgressEndsCancelledWorkAsInterrupted) {
  Recorder observer;
  observer.Progress("first", 0);
  observer.cancelled = true;
  try {
    observer.Progress("second", 0.5);
    FAIL() << "went on";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, ExitCode::kInterrupted);
  }
  EXPECT_EQ(observer.heard, std::vector<std::string>{"do first"});
}

TEST(Observer, HearsMessageBoxesOfTheLibrary) {
  Recorder observer;
  observer.current_file = "part.stl";
  {
    const MessageBoxes boxes(observer);
    AfxMessageBox("Two\n lines ", trq::message_box::kOkButton);
    EXPECT_EQ(AfxMessageBox("Go on?", trq::message_box::kYesNoButtons), trq::message_box::kNo);
    observer.yes = true;
    EXPECT_EQ(AfxMessageBox("Go on?", trq::message_box::kYesNoButtons), trq::message_box::kYes);
  }
  const std::vector<std::string> expected{"say Two lines", "ask Go on?", "ask Go on?"};
  EXPECT_EQ(observer.heard, expected);
  ASSERT_EQ(observer.messages().size(), 1u);
  EXPECT_EQ(observer.messages()[0].code, Code::kLibraryMessage);
  EXPECT_EQ(observer.messages()[0].file, "part.stl");
}

}  // namespace
}  // namespace trqprep
