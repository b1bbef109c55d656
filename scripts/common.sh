# What the scripts share: installing packages, configuring, building. Sourced, never run.
set -euo pipefail

trq_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
trq_jobs="${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}"

# trq_install USE...: makes sure that the packages listed for these uses in scripts/packages are installed, or
# others that provide them. Says nothing and needs no network when they are.
trq_install() {
  local use package provided="" missing=()
  for use in "$@"; do
    while read -r package; do
      if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)" != installed ]; then
        if [ -z "$provided" ]; then
          provided=" $(dpkg-query -W -f '${db:Status-Status} ${Provides}\n' | sed -n 's/^installed //p' |
            sed 's/([^)]*)//g' | tr -s ',\n ' ' ') "
        fi
        if [[ "$provided" != *" $package "* ]]; then
          missing+=("$package")
        fi
      fi
    done < <(awk -v use="$use" '$1 == use { print $2 }' "$trq_root/scripts/packages")
  done
  if [ "${#missing[@]}" -eq 0 ]; then
    return
  fi

  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing and only root can install them: ${missing[*]}" >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  echo "== install: ${missing[*]}"
  local apt_get=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0)
  trq_quietly "${apt_get[@]}" update
  trq_quietly "${apt_get[@]}" install -y --no-install-recommends "${missing[@]}"
}

# trq_quietly COMMAND...: shows what the command prints only when it fails, and fails with it.
trq_quietly() {
  local log status=0
  log="$(mktemp)"
  "$@" >"$log" 2>&1 </dev/null || status=$?
  if [ "$status" -ne 0 ]; then
    cat "$log" >&2
    echo "failed ($status): $*" >&2
  fi
  rm -f "$log"
  return "$status"
}

# trq_build PRESET [TARGET...]: configures and builds in build/PRESET. Prints no line a file when its output is
# not a terminal; compiler messages always appear.
# TRQ_WARNINGS_AS_ERRORS=ON in the environment makes compiler warnings errors; TRQ_CONFIGURE holds more options.
trq_build() {
  local preset="$1" target
  shift
  # A cache knows sources by what they include; precompiled headers would hide that from it.
  local launcher=(-DTRQ_PRECOMPILE_HEADERS=ON)
  if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DTRQ_PRECOMPILE_HEADERS=OFF)
  fi
  (
    cd "$trq_root"
    trq_quietly cmake --preset "$preset" "${launcher[@]}" \
      "-DTRQ_WARNINGS_AS_ERRORS=${TRQ_WARNINGS_AS_ERRORS:-OFF}" ${TRQ_CONFIGURE:-}
    local arguments=(-C "build/$preset" -j "$trq_jobs" "$@")
    if [ -t 1 ]; then
      ninja "${arguments[@]}"
    else
      echo "== build: build/$preset"
      ninja --quiet "${arguments[@]}" | sed '/^ninja: no work to do\.$/d'
    fi
  )
}

# trq_ctest PRESET: runs every test of build/PRESET in parallel. The last lines are ctest's summary and the exit
# status is ctest's.
trq_ctest() {
  (
    cd "$trq_root"
    ctest --preset "$1" --parallel "${CTEST_PARALLEL_LEVEL:-$trq_jobs}"
  )
}
