# Sourced by the scripts of this folder: where things are, and how they speak.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# All that is built lands below one folder, which a caller may move elsewhere.
build_root=${VLPBIDI_BUILD_ROOT:-$root/build}
jobs=${VLPBIDI_JOBS:-$(nproc)}

say() { printf '== %s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}
