#!/usr/bin/env bash
# Measures how far off the placed frames of simulated brackets are, beside OpenCV, and prints the table.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
tree="$root/build/bench"

usage() {
  cat <<'TEXT'
usage: bench/accuracy/run.sh [OPTION...]

Installs what is missing from Debian (OpenCV, the photographs), builds the bench in build/bench, and runs it. The
options are the bench's own, listed after the build with --help. Unless --json says otherwise, every figure goes to
build/bench/accuracy.json as well.
TEXT
}

json=("--json" "$tree/accuracy.json")
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
# A tree of its own: the tests' tree stays free of OpenCV. The build speaks only when it fails.
if ! { cd "$root" && cmake --preset release -B "$tree" -DVINDREL_BUILD_BENCH=ON -DBUILD_TESTING=OFF "${launcher[@]}" &&
  cmake --build "$tree" --target bench_accuracy -j "${VINDREL_JOBS:-$(nproc)}"; } >"$tree/build.log" 2>&1; then
  cat "$tree/build.log" >&2
  exit 1
fi
cd - >/dev/null
"$tree/bench/accuracy/bench_accuracy" "${json[@]}" "$@"
