/// Does a part fit the vat?
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "trqprep/matrix4.h"
#include "trqprep/message.h"
#include "trqprep/quantities.h"

namespace trqprep {

/// By how much a mesh exceeds a vat of that size along each axis in the best of some turns about Z, in
/// degrees, after `prepare`; all at most 0 when one turn fits. `stands`: the height counts from Z = 0, else
/// from the lowest point.
Point VatExcess(const CTL& mesh, const Matrix4& prepare, const std::array<double, 3>& vat,
                const std::vector<double>& turns, bool stands);
/// TOO-BIG-FOR-VAT for that excess, nothing when all fits. `vat` is in `units`.
std::optional<Message> TooBigForVat(const std::string& file, const std::string& part, const Point& excess,
                                    const std::array<double, 3>& vat, Units units, std::size_t turns);

}  // namespace trqprep
