# Sourced by the demonstration and the benchmarks: a run of its own under one folder, with its
# own home, preferences, Apple Event runtime folder and word list, so the user's own are never
# touched, and a way to stop the Quellbark that the plug-in launched there.

# isolate_user FOLDER ROOT BUILD: make FOLDER's private parts and point the environment at them.
isolate_user() {
  local folder=$1 root=$2 build=$3
  mkdir -m 0700 -p "$folder/profile" "$folder/run" "$folder/home"
  export HOME=$folder/home CFFIXED_USER_HOME=$folder/home
  export XDG_RUNTIME_DIR=$folder/run XDG_DATA_HOME=$folder/home/.local/share
  export XDG_CONFIG_HOME=$folder/home/.config XDG_CACHE_HOME=$folder/home/.cache
  export XDG_STATE_HOME=$folder/home/.local/state
  export LS_APPLICATION_PATH=$root/$build LS_SYSTEM_ROOT=$folder/system
  export QUELLBARK_DATA_DIR=$folder/wordlist
}

# The pid of the Quellbark registered in this run's runtime folder, if any.
quellbark_pid() {
  local entry
  for entry in "$XDG_RUNTIME_DIR/AppleEvents"/*.plist; do
    [[ -f $entry ]] && grep -q '<string>Quellbark</string>' "$entry" || continue
    tr -d ' \t\n' <"$entry" | sed -n 's|.*<key>ProcessID</key><integer>\([0-9]*\)</integer>.*|\1|p'
    return 0
  done
}

# Stops that Quellbark and waits up to 10 s for it to go; says so when VERBOSE is given.
stop_quellbark() {
  local pid
  pid=$(quellbark_pid)
  [[ -n $pid ]] || return 0
  kill -TERM "$pid" 2>/dev/null || return 0
  for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  [[ -z ${1:-} ]] || echo "Stopped Quellbark (pid $pid)."
}

# start_watch OUT ERR MAILHOST...: `MAILHOST... watch` in the background (its pid in watch_pid),
# waited for until it says it is watching or ends (30 s at most); fails when it is not watching.
start_watch() {
  local out=$1 err=$2
  shift 2
  "$@" watch >"$out" 2>"$err" &
  watch_pid=$!
  # Its first look only takes note of what is there: mail goes in once it is watching.
  for _ in $(seq 300); do
    grep -q '^watching ' "$out" || ! kill -0 "$watch_pid" 2>/dev/null && break
    sleep 0.1
  done
  grep -q '^watching ' "$out"
}
