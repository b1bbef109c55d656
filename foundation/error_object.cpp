#include <cstdio>
#include <string>

#include "foundation/status_texts.h"
#include "host/system.h"
#include "trq/core/file.h"
#include "trq/foundation.h"

using namespace trq::detail;

namespace {

constexpr char kNoSystemText[] = "Unknown error.";

const char* SystemTextOrUnknown(int code) {
  const char* text = trq::core::ErrorText(code);
  return text ? text : kNoSystemText;
}

}  // namespace

CErrorObject::CErrorObject() = default;

CErrorObject::CErrorObject(const CErrorObject& other)
    : auxiliary_text_(static_cast<const char*>(other.auxiliary_text_)),
      error_message_(static_cast<const char*>(other.error_message_)),
      error_code_(other.error_code_) {}

CErrorObject& CErrorObject::operator=(const CErrorObject& other) = default;

CErrorObject::~CErrorObject() = default;

void CErrorObject::ClearError() {
  error_code_ = 0;
  error_message_.Empty();
}

void CErrorObject::SetError(int code, const char* text) {
  // Kept: each is decided by itself, so a later text can join an earlier code.
  if (error_code_ == 0) error_code_ = code;
  if (error_message_.IsEmpty()) error_message_ = text;
}

void CErrorObject::UpdateErrorCode(const char* what) {
  const int last_error = trq::host::LastError();
  if (error_code_ != 0) return;
  // Kept: both messages begin with a blank, for they are appended to the caller's own prefix; an earlier
  // message without a code is overwritten.
  if (last_error == 0) {
    error_code_ = 1;
    error_message_.Format(" Unknown %s error", what);
    return;
  }
  error_code_ = last_error;
  const char* system_text = SystemTextOrUnknown(last_error);
  if (what) {
    error_message_.Format(" %s error: %s", what, system_text);
  } else {
    error_message_.Format("%s", system_text);
  }
}

const char* CErrorObject::MsdStrerror(int code) {
  static thread_local char buffer[256];
  const char* text = StatusText(code);
  std::snprintf(buffer, sizeof(buffer), "%s", text ? text : SystemTextOrUnknown(code));
  return buffer;
}

const char* CErrorObject::GetRootDirectory() {
  static const std::string directory = [] {
    const std::string program = trq::host::ExecutablePath();
    return program.substr(0, trq::host::DirectoryLength(program));
  }();
  return directory.c_str();
}
