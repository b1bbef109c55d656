/// A public library that nests too, measured beside ours.
#pragma once

#include "trqprep/nesting.h"

/// The shortest length over the library's settings in which all copies lie, in strips of the job's width and
/// with the job's gap. 0 when the library is not installed or places not all.
double PeerLength(const trqprep::nesting::Job& job);
