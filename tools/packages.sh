#!/usr/bin/env bash
# Installs what is missing of the Debian packages that setup/debian-packages.txt lists for the named groups.
set -euo pipefail

usage() {
  cat <<'TEXT'
usage: tools/packages.sh [-h] [-n] GROUP...

Installs the Debian packages of the groups (build, test, demo, bench) that are not installed yet, as root or with sudo.
Does nothing, and asks for nothing, when all of them are there.

  -n, --dry-run  only print the missing packages, one a line
  -h, --help     print this text
TEXT
}

list="$(dirname "${BASH_SOURCE[0]}")/../setup/debian-packages.txt"
dryRun=0
groups=()
for argument in "$@"; do
  case "$argument" in
  -h | --help) usage; exit 0 ;;
  -n | --dry-run) dryRun=1 ;;
  build | test | demo | bench) groups+=("$argument") ;;
  *) echo "tools/packages.sh: unknown argument '$argument'" >&2; usage >&2; exit 2 ;;
  esac
done
if [ ${#groups[@]} -eq 0 ]; then
  usage >&2
  exit 2
fi

wanted=()
while read -r group package; do
  for chosen in "${groups[@]}"; do
    if [ "$group" = "$chosen" ]; then wanted+=("$package"); fi
  done
done <<<"$(grep -v "^#" "$list")"

if ! command -v dpkg-query >/dev/null; then
  echo "tools/packages.sh: not a Debian system; install the equivalents of these yourself:" >&2
  echo "  ${wanted[*]}" >&2
  exit 0
fi

# dpkg-query reports only what it knows of, so whatever it does not call installed is missing.
installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null || true)
missing=()
for package in "${wanted[@]}"; do
  if ! grep -qx "installed $package" <<<"$installed"; then missing+=("$package"); fi
done
if [ ${#missing[@]} -eq 0 ]; then exit 0; fi
if [ "$dryRun" -eq 1 ]; then
  printf '%s\n' "${missing[@]}"
  exit 0
fi

asRoot=(env DEBIAN_FRONTEND=noninteractive)
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "tools/packages.sh: missing packages, and neither root nor sudo to install them with. As root:" >&2
    echo "  apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  asRoot=(sudo "${asRoot[@]}")
fi
echo "installing from Debian: ${missing[*]}"
"${asRoot[@]}" apt-get update -q
"${asRoot[@]}" apt-get install -q -y --no-install-recommends "${missing[@]}"
