#include <cstdio>

#include "trq/host.h"

namespace {

int DefaultAnswer(const char* text, unsigned buttons, void*) {
  std::fprintf(stderr, "%s\n", text);
  return buttons == trq::message_box::kYesNoButtons ? trq::message_box::kNo : trq::message_box::kOk;
}

// One handler a thread: a worker's questions never reach a handler that another thread installed.
thread_local trq::MessageBoxHandler current_handler = DefaultAnswer;
thread_local void* current_user = nullptr;

}  // namespace

void trq::SetMessageBoxHandler(int (*handler)(const char* text, unsigned buttons, void* user), void* user) {
  current_handler = handler ? handler : DefaultAnswer;
  current_user = handler ? user : nullptr;
}

int AfxMessageBox(const char* text, unsigned buttons) {
  return current_handler(text ? text : "", buttons, current_user);
}
