/// Numbers as printf writes them in the "C" locale, whatever locale the host program has set.
#pragma once

#include <string>

namespace trq::detail {

/// Appends `v` as "%<width>.<precision>f" does.
void AppendFixed(std::string& text, double v, int precision = 6, int width = 0);
/// The same of a computed number, where the sign of what is not a number says nothing: "nan".
void AppendComputed(std::string& text, double v, int precision = 6, int width = 0);
/// Three computed numbers, a blank behind each.
void AppendThree(std::string& text, double x, double y, double z);

}  // namespace trq::detail
