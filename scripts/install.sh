#!/usr/bin/env bash
# Installs a configured, built tree, or removes exactly what an earlier install put there.
#
#   scripts/install.sh install BUILD
#   scripts/install.sh uninstall BUILD
#
# The prefix and the application folder are the tree's CMAKE_INSTALL_PREFIX and QB_APP_DIR, the
# systemd user unit's folder its QB_UNIT_INSTALL_DIR (cmake/Install.cmake); DESTDIR stages the whole install below another folder, as with any CMake install.
# The record of an install is kept in $QB_INSTALL_RECORD (default BUILD/install-record): CMake's
# install_manifest.txt (every file installed) and created-dirs.txt (the folders that did not
# exist before, deepest first). Uninstall deletes those files, then those folders when they are
# empty, so a folder that held anything else stays.
set -euo pipefail

usage() { echo "usage: $0 install|uninstall BUILD" >&2; exit 2; }
[[ $# -eq 2 ]] || usage
action=$1
build=$(cd "$2" && pwd)
record=${QB_INSTALL_RECORD:-$build/install-record}
destdir=${DESTDIR:-}

cache_value() {
  sed -n "s|^$1:[A-Z]*=||p" "$build/CMakeCache.txt"
}

case $action in
install)
  prefix=$(cache_value CMAKE_INSTALL_PREFIX)
  appdir=$(cache_value QB_APP_DIR)
  unitdir=$(cache_value QB_UNIT_INSTALL_DIR)
  nmdir=$(cache_value QB_NATIVE_MESSAGING_DIR)
  [[ -n $prefix && -n $appdir && -n $unitdir && -n $nmdir ]] ||
    { echo "install: $build is not configured" >&2; exit 1; }
  # Every folder on the way to a destination that is missing now is made by this install.
  created=()
  for leaf in "$prefix/bin" "$prefix/libexec" "$prefix/lib" "$prefix/share/man/man1" "$prefix/share/quellbark" \
    "$prefix/share/bash-completion/completions" "$appdir/Quellbark.app/Contents/MacOS" \
    "$unitdir" "$nmdir"; do
    dir=$destdir$leaf
    while [[ ! -e $dir && $dir != "$destdir" && $dir != / ]]; do
      created+=("$dir")
      dir=$(dirname "$dir")
    done
  done
  mkdir -p "$record"
  # CMake always writes its manifest into the tree: one install of a tree at a time.
  (
    flock 9
    # Programs whose installed library path differs from the build's are linked again here.
    cmake --build "$build" --target preinstall >/dev/null
    cmake --install "$build"
    mv "$build/install_manifest.txt" "$record/install_manifest.txt"
  ) 9>"$build/.install-lock"
  # An install over an earlier one keeps the folders that one made.
  if [[ -f $record/created-dirs.txt ]]; then
    while IFS= read -r dir; do
      [[ -n $dir ]] && created+=("$dir")
    done <"$record/created-dirs.txt"
  fi
  if ((${#created[@]})); then
    printf '%s\n' "${created[@]}" | sort -u | awk '{ print length($0) "\t" $0 }' |
      sort -rn -s | cut -f2- >"$record/created-dirs.txt.new"
  else
    : >"$record/created-dirs.txt.new"
  fi
  mv "$record/created-dirs.txt.new" "$record/created-dirs.txt"
  echo "Installed $(grep -c "" "$record/install_manifest.txt") files under ${destdir}$prefix," \
    "${destdir}$appdir, ${destdir}$unitdir and ${destdir}$nmdir; the record is in $record"
  if [[ -z $destdir ]]; then
    echo "To start Quellbark with your session: systemctl --user daemon-reload &&" \
      "systemctl --user enable --now quellbark.service"
  fi
  echo "In Thunderbird: Add-ons and Themes, the gear menu, Install Add-on From File...," \
    "${prefix}/share/quellbark/quellbark-junkfilter.xpi"
  ;;
uninstall)
  manifest=$record/install_manifest.txt
  [[ -f $manifest ]] || { echo "uninstall: no install record in $record" >&2; exit 1; }
  # A unit enabled by the user leaves a link in default.target.wants: take it away first.
  if [[ -z $destdir ]] && grep -q '/quellbark.service$' "$manifest" &&
    command -v systemctl >/dev/null 2>&1; then
    systemctl --user disable --now quellbark.service >/dev/null 2>&1 || true
  fi
  removed=0
  # CMake's manifest has no line end after its last name.
  while IFS= read -r file || [[ -n $file ]]; do
    [[ -n $file ]] || continue
    if [[ -f $destdir$file || -L $destdir$file ]]; then
      rm -f "$destdir$file"
      removed=$((removed + 1))
    fi
  done <"$manifest"
  if [[ -f $record/created-dirs.txt ]]; then
    while IFS= read -r dir; do
      [[ -n $dir ]] && rmdir "$dir" 2>/dev/null || true
    done <"$record/created-dirs.txt"
  fi
  rm -f "$manifest" "$record/created-dirs.txt"
  rmdir "$record" 2>/dev/null || true
  echo "Removed $removed installed files"
  ;;
*) usage ;;
esac
