#!/usr/bin/env bash
# Compares the library with other libraries on the same work and prints the table.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
tree="$root/build/bench"

usage() {
  cat <<'TEXT'
usage: bench/peers/run.sh [OPTION...]

Installs what is missing from Debian (OpenCV, Hugin, ImageMagick, the photographs), builds the bench in build/bench,
and runs it. The options are the bench's own, listed after the build with --help; --quick sees whether it works. Unless
--json says otherwise, every figure goes to build/bench/peers.json as well.
TEXT
}

json=("--json" "$tree/peers.json")
for argument in "$@"; do
  case "$argument" in
  --json) json=() ;;
  -h | --help) usage ;;
  esac
done

"$root/tools/packages.sh" build bench
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
mkdir -p "$tree"
# A tree of its own: the tests' tree stays free of the peers. The build speaks only when it fails.
if ! { cd "$root" && cmake --preset release -B "$tree" -DVINDREL_BUILD_BENCH=ON -DBUILD_TESTING=OFF "${launcher[@]}" &&
  cmake --build "$tree" --target bench_peers -j "${VINDREL_JOBS:-$(nproc)}"; } >"$tree/build.log" 2>&1; then
  cat "$tree/build.log" >&2
  exit 1
fi
cd - >/dev/null
"$tree/bench/peers/bench_peers" "${json[@]}" "$@"
