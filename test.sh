#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tests.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

usage() {
  cat <<'TEXT'
usage: ./test.sh [-h] [--all] [PRESET...]

Installs what is missing from Debian, then configures, builds and tests each preset in turn (default: release).
Build trees are kept in build/, so that a second run only builds what changed.

  PRESET    release, debug, asan, tsan, clang, coverage (CMakePresets.json says what each is)
  --all     release, clang (the second compiler), asan and tsan; continuous integration runs all but tsan
  -h, --help
            print this text

Ends with ctest's summary of each preset. Exits 0 when every preset built and every test passed, else 1; 2 for an
unknown argument. VINDREL_JOBS sets the number of parallel jobs (default: the number of processors).
TEXT
}

# What the tests that failed printed, at most 60 lines each: whoever sees only the end of a long log still learns why.
failures() {
  awk '/ Test +#[0-9]+: / {
         lines = 0
         shown = /\*\*\*(Failed|Timeout|Exception|Not Run)|Subprocess aborted/
       }
       /^[0-9.]+% tests passed/ { shown = 0 }
       shown && !/^ +Start +[0-9]+: / && ++lines <= 60' "$1"
}

presets=()
for argument in "$@"; do
  case "$argument" in
  -h | --help) usage; exit 0 ;;
  --all) presets+=(release clang asan tsan) ;;
  release | debug | asan | tsan | clang | coverage) presets+=("$argument") ;;
  *) echo "test.sh: unknown argument '$argument'" >&2; usage >&2; exit 2 ;;
  esac
done
if [ ${#presets[@]} -eq 0 ]; then presets=(release); fi

tools/packages.sh build test

jobs=${VINDREL_JOBS:-$(nproc)}
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

# Every preset runs, whatever becomes of the one before, so that one run reports everything there is to repair.
status=0
summary=()
for preset in "${presets[@]}"; do
  echo "== $preset"
  started=$SECONDS
  log="build/$preset/test.log"
  if ! { cmake --preset "$preset" "${launcher[@]}" && cmake --build --preset "$preset" -j "$jobs"; }; then
    status=1
    summary+=("$preset: does not build")
    continue
  fi
  built=$((SECONDS - started))
  if ! ctest --preset "$preset" --no-tests=error -j "$jobs" 2>&1 | tee "$log"; then status=1; fi
  summary+=("$preset (built in $built s, tested in $((SECONDS - started - built)) s):"
    "$(grep -E 'tests passed|^Total Test time|No tests were found' "$log" | sed 's/^/  /')"
    "$(failures "$log" | sed 's/^/  /')")
done

echo
printf '%s\n' "${summary[@]}"
exit "$status"
