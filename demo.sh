#!/usr/bin/env bash
# Makes a hand-held bracket out of a photograph, aligns it, and says how far off each frame is.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

usage() {
  cat <<'TEXT'
usage: ./demo.sh [-h] [PHOTO]

Installs what is missing from Debian and builds the program; then makes a bracket of PHOTO (default: a mountain
landscape of Debian's lomiri-wallpapers-16.04) as a hand-held camera would have taken it, five frames 2 EV apart with
perspective motion, and aligns it. Prints a line for each frame, with its largest corner error against the known truth,
in pixels.

  -h, --help  print this text

The frames are left in demo-output/bracket, the aligned ones in demo-output/aligned; both are made anew on every run.
Exits as "vindrel align" does: 0 when every frame was aligned.
TEXT
}

photo=/usr/share/backgrounds/picosdeeuropa_by_Aitzol_Berasategi.jpg
groups=(build demo)
case "${1-}" in
-h | --help) usage; exit 0 ;;
-*) echo "demo.sh: unknown option '$1'" >&2; usage >&2; exit 2 ;;
?*) photo=$1; groups=(build) ;;
esac
if [ $# -gt 1 ]; then
  usage >&2
  exit 2
fi

tools/packages.sh "${groups[@]}"

# The program alone, without the tests and what they need. Kept apart from the tests' tree, which has other options.
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
mkdir -p build
[ -x build/demo/cli/vindrel ] || echo "building, which takes a few minutes the first time (build/demo.log)"
if ! { cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF "${launcher[@]}" &&
  cmake --build build/demo --target vindrel_cli; } >build/demo.log 2>&1; then
  cat build/demo.log >&2
  exit 1
fi

vindrel=build/demo/cli/vindrel
output=demo-output
rm -rf "$output/bracket" "$output/aligned"
mkdir -p "$output"
echo "making a hand-held bracket of $photo"
"$vindrel" simulate "$photo" -o "$output/bracket" --frames 5 --ev 2 --motion perspective --seed 1
echo
echo "aligning it"
status=0
"$vindrel" align "$output"/bracket/frame_*.png -o "$output/aligned" --model perspective --threads "$(nproc)" \
  --truth "$output/bracket/truth.json" || status=$?
echo
echo "the frames as taken: $output/bracket"
echo "and aligned:         $output/aligned"
exit "$status"
