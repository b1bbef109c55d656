#include "file_kinds.h"

#include <map>

namespace trqprep {
namespace {

std::multimap<int, FileKind>& Kinds() {
  static std::multimap<int, FileKind> kinds;
  return kinds;
}

}  // namespace

FileKindRegistration::FileKindRegistration(int order, FileKind kind) { Kinds().emplace(order, kind); }

const FileKind* KindOf(const FileHead& file) {
  for (const auto& [order, kind] : Kinds()) {
    if (kind.matches(file)) return &kind;
  }
  return nullptr;
}

std::vector<std::string> KindNames() {
  std::vector<std::string> names;
  for (const auto& [order, kind] : Kinds()) names.push_back(kind.name);
  return names;
}

}  // namespace trqprep
