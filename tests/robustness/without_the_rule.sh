#!/bin/sh
# A compiler launcher that leaves out the rule by which every rounding to float stays (cmake/TrqCompilerSettings.cmake).
for argument; do
  shift
  [ "$argument" = -fno-tree-slp-vectorize ] || set -- "$@" "$argument"
done
exec "$@"
