#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demonstration need, when any is
# missing. As root it runs apt-get itself; otherwise it prints the exact command and fails.
set -euo pipefail

packages=(
  build-essential cmake pkg-config clang libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libglib2.0-dev libgmime-3.0-dev libplist-dev libnotify-dev
  libsqlite3-dev libcli11-dev nlohmann-json3-dev
  bogofilter time man-db procmail maildrop zip bash-completion
  dovecot-imapd libetpan-dev libgnutls28-dev libsecret-1-dev python3 openssl
)
# The test that runs the extension in a real Thunderbird needs Debian's Thunderbird (large);
# QB_WITHOUT_THUNDERBIRD=1 leaves it out, and that test is then skipped.
if [[ ${QB_WITHOUT_THUNDERBIRD:-0} != 1 ]]; then
  packages+=(thunderbird)
fi
# The corpus of the demonstration comes from the npm registry. Some machines carry a Node.js
# build that brings its own npm (and conflicts with Debian's npm package): use it when present.
if ! command -v npm >/dev/null 2>&1; then
  packages+=(nodejs npm)
fi

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -ne 0 ]]; then
  echo "Missing Debian packages. Install them with:" >&2
  echo "  sudo apt-get update && sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi
echo "Installing Debian packages: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
