/// The rules that `check`, `build` and `verify` apply: one row a rule, told in full by `explain`.
#pragma once

#include <string>
#include <vector>

#include "trqprep/message.h"

namespace trqprep {

/// One rule. Errors stop a build unless --force-checks is given; warnings are listed.
struct CheckRule {
  const char* code;
  Severity severity;
  const char* title;  ///< what a finding means, in a few words
  const char* story;  ///< why it matters, how it is measured, what to do
};

const std::vector<CheckRule>& CheckRules();
/// Null for a code that is no rule.
const CheckRule* FindCheckRule(const std::string& code);

/// A finding of a rule: a message with the rule's severity. The code must be one of the rules.
Message Finding(const std::string& code, const std::string& file, const std::string& text);

/// True when an error is among the findings.
bool HoldsError(const std::vector<Message>& findings);

}  // namespace trqprep
