/// Numbers that look random and are the same on every machine: splitmix64 (Steele, Lea and Flood 2014).
#pragma once

#include <cstdint>

namespace trqprep::nesting {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Bits() {
    std::uint64_t z = state_ += 0x9e3779b97f4a7c15u;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  /// From 0 to below 1.
  double Unit() { return static_cast<double>(Bits() >> 11) * 0x1p-53; }
  double Between(double low, double high) { return low + (high - low) * Unit(); }
  /// Below `count`, which is above 0.
  std::size_t Below(std::size_t count) {
    return static_cast<std::size_t>(Unit() * static_cast<double>(count));
  }

 private:
  std::uint64_t state_;
};

}  // namespace trqprep::nesting
