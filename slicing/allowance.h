/// An end to work that grows faster than what asks for it.
#pragma once

#include <atomic>
#include <cstdint>

namespace trqprep::slicing {

/// How much of some work may be done, by all threads together. Whether all of it is allowed does not depend
/// on which of them asks first.
class Allowance {
 public:
  explicit Allowance(std::uint64_t most) : most_(most) {}
  /// False when this is more than is left; then what was made is of no use.
  bool Take(std::uint64_t work) { return taken_.fetch_add(work) + work <= most_; }
  bool IsExceeded() const { return taken_ > most_; }
  std::uint64_t most() const { return most_; }

 private:
  std::uint64_t most_;
  std::atomic<std::uint64_t> taken_{0};
};

}  // namespace trqprep::slicing
