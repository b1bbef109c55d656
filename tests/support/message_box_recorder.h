/// Stands in for the user in front of the library's message boxes.
#pragma once

#include <string>
#include <vector>

#include "trq/host.h"

namespace test_support {

/// While it lives, message boxes of this thread are recorded and answered: OK boxes with OK, Yes/No boxes
/// with `answer`.
class MessageBoxRecorder {
 public:
  struct Box {
    std::string text;
    unsigned buttons;
  };

  explicit MessageBoxRecorder(int answer = trq::message_box::kNo) : answer_(answer) {
    trq::SetMessageBoxHandler(&MessageBoxRecorder::Handle, this);
  }
  MessageBoxRecorder(const MessageBoxRecorder&) = delete;
  MessageBoxRecorder& operator=(const MessageBoxRecorder&) = delete;
  ~MessageBoxRecorder() { trq::SetMessageBoxHandler(nullptr, nullptr); }

  const std::vector<Box>& boxes() const { return boxes_; }

 private:
  static int Handle(const char* text, unsigned buttons, void* user) {
    auto* recorder = static_cast<MessageBoxRecorder*>(user);
    recorder->boxes_.push_back({text, buttons});
    return buttons == trq::message_box::kYesNoButtons ? recorder->answer_ : trq::message_box::kOk;
  }

  std::vector<Box> boxes_;
  int answer_;
};

}  // namespace test_support
