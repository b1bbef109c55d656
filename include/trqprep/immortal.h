/// A static object that is never destroyed and needs no memory of the heap.
#pragma once

namespace trqprep {

/// For what a second thread or a way out without memory may need after the other statics are gone.
template <class Value>
union Immortal {
  Immortal() : value() {}
  ~Immortal() {}
  Immortal(const Immortal&) = delete;
  Immortal& operator=(const Immortal&) = delete;
  Value value;
};

}  // namespace trqprep
