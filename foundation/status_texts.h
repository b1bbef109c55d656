/// Fixed texts of command-protocol, connection and socket status codes.
#pragma once

namespace trq::detail {

/// The text of a status code; null for a code without one.
const char* StatusText(int code);

}  // namespace trq::detail
