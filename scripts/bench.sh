#!/usr/bin/env bash
# The benchmarks on real mail (`make bench`), printed as one table, each figure beside its target
# where it has one:
#   - throughput: the held-out SpamAssassin messages classified through the whole pipeline (host,
#     plug-in, Apple Event transport, Quellbark, bogofilter) and by bogofilter's own bulk mode
#     over the same files with the same word list, alternately, BENCH_CPU_REPS (7) times each
#     (the CPU targets are judged on these medians, which a few runs leave at the mercy of a
#     machine whose speed drifts by 10% from minute to minute);
#     wall time and the CPU time of every process involved, split per process (the host;
#     Quellbark's own, that is Quellbark and its bogofilter less bogofilter's own CPU for the
#     same messages; bogofilter);
#   - the same with `classify -j auto`, again alternately with bogofilter -b, BENCH_CPU_REPS times;
#   - agreement: the plug-in's verdicts against bogofilter's own (spamicity * 100 below 50 is good);
#   - the ceiling of the plug-in's protocol: the same files sent to Quellbark by bench/quellbark_rate,
#     one Apple Event per message as the plug-in sends it, without the host;
#   - the delivery filter (`mailhost filter`), one process per message as a delivery agent runs
#     it, against bogofilter's own one-process-per-message pass-through (-p -e) on the same
#     BENCH_FILTER_COUNT (300) held-out messages, spread over the held-out set;
#   - the native host (Thunderbird's extension's way in): the same messages as raw bytes in
#     batches of 100 through one running `mailhost native-host` (bench/native_host_rate.mjs);
#   - IMAP, on a private Dovecot on 127.0.0.1 (TLS): the held-out messages classified from a
#     server folder by `mailhost classify imap://...` (fetch, plug-in, Quellbark, keyword, junk
#     moved), BENCH_REPS times into fresh folders, against the pipeline over Maildir folders; and
#     the time from APPEND to the verdict on the server while `mailhost watch` runs, over
#     BENCH_IMAP_LATENCY_COUNT (500) messages appended one at a time, each polled every 5 ms from
#     a second connection until placed (good: $NotJunk set; junk: gone from INBOX into Junk);
#   - the cold start: one message classified with Quellbark not running, until its verdict line,
#     BENCH_COLD_RUNS (5) times, Quellbark stopped before each;
#   - memory: the peak resident size of the host and of a freshly launched Quellbark classifying
#     each of BENCH_MEMORY_COUNTS messages, kept in each of the three local folder kinds: a
#     Maildir and a folder of *.eml files (hard links to the held-out files) and an mbox file
#     (written, then removed);
#   - the steady state: -j 1, -j 2, -j auto and bogofilter -b over the 10,000-message volume,
#     when made;
#   - the Apple Event round trip (bench/ae_roundtrip).
# Everything lives under <build>/bench, with its own profile, preferences, runtime folder and
# word list, made afresh each run. Environment: QB_BUILD (build/default), BENCH_REPS (3),
# BENCH_MEMORY_COUNTS ("1000 10000 100000"), BENCH_FILTER_COUNT (300),
# BENCH_IMAP_LATENCY_COUNT (500), BENCH_COLD_RUNS (5).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/isolated-user.sh
source scripts/lib/private-dovecot.sh
timed() { python3 scripts/lib/timed.py "$@"; }
root=$PWD
build=${QB_BUILD:-build/default}
work=$root/$build/bench
reps=${BENCH_REPS:-3}
cpu_reps=${BENCH_CPU_REPS:-7}
memory_counts=${BENCH_MEMORY_COUNTS:-1000 10000 100000}
cold_runs=${BENCH_COLD_RUNS:-5}
filter_count=${BENCH_FILTER_COUNT:-300}
latency_count=${BENCH_IMAP_LATENCY_COUNT:-500}
mailhost=$root/$build/bin/mailhost
plugin=$root/$build/lib/QuellbarkPlugIn.so
app=$root/$build/Quellbark.app
for need in "$mailhost" "$plugin" "$app/Contents/MacOS/Quellbark" /usr/bin/time; do
  [[ -e $need ]] || { echo "bench: $need is missing" >&2; exit 1; }
done

run_start=$(date +%s)
load_at_start=$(cut -d' ' -f1-3 /proc/loadavg)
rm -rf "$work"
mkdir -p "$work/out"
isolate_user "$work" "$root" "$build"
host=("$mailhost" --profile "$work/profile" --plugin "$plugin")
log() { printf '%s\n' "$*" >&2; }
calc() { awk "BEGIN { printf \"%.${2:-3}f\", $1 }"; } # EXPRESSION [DECIMALS]
# COUNT lines of the held-out list, every k-th so that spam and ham are both in; awk stops by
# itself, where `| head` would leave it writing into a closed pipe (a failure under pipefail).
every_kth() {
  awk -v count="$1" -v step="$((heldout > $1 ? heldout / $1 : 1))" \
    'NR % step == 0 { print; if (++n == count) exit }'
}
elapsed() { calc "$(date +%s.%N) - $1"; }

watch_pid=
stop_all() {
  if [[ -n $watch_pid ]]; then
    kill -TERM "$watch_pid" 2>/dev/null && wait "$watch_pid" 2>/dev/null || true
  fi
  dovecot_stop
  stop_quellbark
}
trap stop_all EXIT

# CPU seconds used so far by a process and its children, reaped or still running: the process's
# and its live children's to the nanosecond (their process CPU clocks, which keep the time of
# threads that have ended: Quellbark serves each client on a thread of its own), children
# already reaped in clock ticks (all the kernel keeps of them).
tree_cpu() {
  local pid=$1 reaped
  [[ -r /proc/$pid/stat ]] || { echo 0; return; }
  reaped=$(sed 's/^.*) //' "/proc/$pid/stat" | awk '{ print $14 + $15 }')
  # (a child that ended meanwhile counts 0 here and is in `reaped` next time)
  python3 "$root/scripts/lib/process_cpu.py" "$pid" $(cat "/proc/$pid/task/"*/children 2>/dev/null) |
    awk -v reaped="$reaped" -v hz="$(getconf CLK_TCK)" '{ printf "%.6f", $1 + reaped / hz }'
}
meets() { awk "BEGIN { print ($1) ? \"yes\" : \"no\" }"; } # CONDITION
median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

log "bench: corpus and mail folders"
data=$(bash scripts/fetch-corpus.sh "$root/$build/corpus")
node scripts/corpus.mjs split "$data" "$work/mail" --chunk 1000000 >"$work/out/split.json"
find "$work/mail/heldout" -path '*/cur/*' -type f | sort >"$work/out/heldout-files.txt"
heldout=$(wc -l <"$work/out/heldout-files.txt")

log "bench: training through the plug-in"
start=$(date +%s.%N)
"${host[@]}" mark junk "$work/mail/train/spam/000" >"$work/out/mark-spam.txt" 2>"$work/out/mark-spam.err"
"${host[@]}" mark good "$work/mail/train/ham/000" >"$work/out/mark-ham.txt" 2>"$work/out/mark-ham.err"
train_seconds=$(elapsed "$start")
trained=$(cat "$work/out/mark-spam.txt" "$work/out/mark-ham.txt" | grep -c '^\(junk\|good\)[[:space:]]' || true)

log "bench: bogofilter's own bulk training into a second word list"
mkdir -p "$work/wordlist-direct"
start=$(date +%s.%N)
find "$work/mail/train/spam" -path '*/cur/*' -type f | bogofilter -C -d "$work/wordlist-direct" -s -b
find "$work/mail/train/ham" -path '*/cur/*' -type f | bogofilter -C -d "$work/wordlist-direct" -n -b
direct_train_seconds=$(elapsed "$start")

# One short run first, so that Quellbark is running and the timed runs measure the steady state.
"${host[@]}" classify "$work/mail/heldout/spam/000/cur/$(ls "$work/mail/heldout/spam/000/cur" | head -1)" \
  >/dev/null 2>"$work/out/warmup.err" || true
qpid=$(quellbark_pid)
[[ -n $qpid ]] || { echo "bench: Quellbark did not start; see $work/out/warmup.err" >&2; exit 1; }

log "bench: throughput, $cpu_reps runs of each over $heldout messages"
for rep in $(seq "$cpu_reps"); do
  before=$(tree_cpu "$qpid")
  timed "$work/out/host-time-$rep.txt" \
    "${host[@]}" classify --json "$work/mail/heldout/spam/000" "$work/mail/heldout/ham/000" \
    >"$work/out/classify-$rep.json" 2>"$work/out/classify-$rep.err" || true
  after=$(tree_cpu "$qpid")
  echo "$(calc "$after - $before")" >"$work/out/quellbark-cpu-$rep.txt"
  timed "$work/out/bogofilter-time-$rep.txt" \
    bogofilter -C -d "$QUELLBARK_DATA_DIR" -b -TT <"$work/out/heldout-files.txt" \
    >"$work/out/bogofilter-$rep.txt" || true
done

# (The pipeline with `mailhost classify -j auto` is measured here, in a block of its own, into
# $work/out/host-jauto-time-<rep>.txt; the table below shows it when those files exist.)

# /usr/bin/time puts "Command exited with non-zero status N" above its figures (bogofilter exits
# with its last verdict): the figures are the last line. The CPU figures come from timed (wall,
# user and system seconds to the microsecond), whose file has that one line only.
figures() { tail -n 1 "$1"; }
pipe_wall=$(for r in $(seq "$cpu_reps"); do figures "$work/out/host-time-$r.txt" | awk '{ print $1 }'; done | median)
host_cpu=$(for r in $(seq "$cpu_reps"); do figures "$work/out/host-time-$r.txt" | awk '{ print $2 + $3 }'; done | median)
q_cpu=$(for r in $(seq "$cpu_reps"); do cat "$work/out/quellbark-cpu-$r.txt"; done | median)
bf_wall=$(for r in $(seq "$cpu_reps"); do figures "$work/out/bogofilter-time-$r.txt" | awk '{ print $1 }'; done | median)
bf_cpu=$(for r in $(seq "$cpu_reps"); do figures "$work/out/bogofilter-time-$r.txt" | awk '{ print $2 + $3 }'; done | median)
rate() { calc "$1 / $2" 1; }
pipe_rate=$(rate "$heldout" "$pipe_wall")
bf_rate=$(rate "$heldout" "$bf_wall")
share=$(calc "100 * $pipe_rate / $bf_rate" 1)
pipe_cpu=$(calc "$host_cpu + $q_cpu")
# Quellbark's own share: what it and its bogofilter used, less what bogofilter alone needs for
# the same messages.
q_own_cpu=$(calc "$q_cpu - $bf_cpu")
cpu_ms() { calc "1000 * $1 / $heldout"; }
classified=$(grep -c '"verdict": "\(junk\|good\)"' "$work/out/classify-1.json" || true)

# --- classify -j auto: the same held-out folders through worker processes (one per CPU) ---------
# The host's CPU is the parent's and its workers' (time counts the children it waited for).
auto_workers=$(nproc)
# Alternately with bogofilter -b again, and compared with those runs: the two figures side by side
# see the same load.
log "bench: throughput with classify -j auto ($auto_workers workers), $cpu_reps runs of each"
for rep in $(seq "$cpu_reps"); do
  before=$(tree_cpu "$qpid")
  timed "$work/out/host-jauto-time-$rep.txt" \
    "${host[@]}" classify -j auto --json "$work/mail/heldout/spam/000" "$work/mail/heldout/ham/000" \
    >"$work/out/classify-jauto-$rep.json" 2>"$work/out/classify-jauto-$rep.err" || true
  after=$(tree_cpu "$qpid")
  echo "$(calc "$after - $before")" >"$work/out/quellbark-jauto-cpu-$rep.txt"
  timed "$work/out/bogofilter-jauto-time-$rep.txt" \
    bogofilter -C -d "$QUELLBARK_DATA_DIR" -b -TT <"$work/out/heldout-files.txt" >/dev/null || true
done
jauto_wall=$(for r in $(seq "$cpu_reps"); do figures "$work/out/host-jauto-time-$r.txt" | awk '{ print $1 }'; done | median)
jauto_host_cpu=$(for r in $(seq "$cpu_reps"); do figures "$work/out/host-jauto-time-$r.txt" | awk '{ print $2 + $3 }'; done | median)
jauto_q_cpu=$(for r in $(seq "$cpu_reps"); do cat "$work/out/quellbark-jauto-cpu-$r.txt"; done | median)
jauto_bf_wall=$(for r in $(seq "$cpu_reps"); do figures "$work/out/bogofilter-jauto-time-$r.txt" | awk '{ print $1 }'; done | median)
jauto_rate=$(rate "$heldout" "$jauto_wall")
jauto_bf_rate=$(rate "$heldout" "$jauto_bf_wall")
jauto_classified=$(grep -c '"verdict": "\(junk\|good\)"' "$work/out/classify-jauto-1.json" || true)
jauto_row=$(printf '| pipeline, `classify -j auto` (%d workers): wall time (median of %d; %d reported junk or good) | %s s, %s messages/s, %s%% of bogofilter -b run alternately with it (%s s, %s messages/s); CPU per message: host (parent and workers) %s ms, Quellbark+bogofilter %s ms | at or above bogofilter -b | %s |' \
  "$auto_workers" "$cpu_reps" "$jauto_classified" "$jauto_wall" "$jauto_rate" "$(calc "100 * $jauto_rate / $jauto_bf_rate" 1)" \
  "$jauto_bf_wall" "$jauto_bf_rate" "$(cpu_ms "$jauto_host_cpu")" "$(cpu_ms "$jauto_q_cpu")" "$(meets "$jauto_rate >= $jauto_bf_rate")")
# --- end of classify -j auto ---------------------------------------------------------------------

log "bench: Quellbark alone, one Apple Event per message, $reps runs"
rate_client=$root/$build/bin/quellbark_rate
rate_row="| Quellbark alone, one Apple Event per message | not measured ($rate_client missing) |"
if [[ -x $rate_client ]]; then
  for rep in $(seq "$reps"); do
    before=$(tree_cpu "$qpid")
    "$rate_client" <"$work/out/heldout-files.txt" >"$work/out/quellbark-rate-$rep.txt" 2>&1 || true
    after=$(tree_cpu "$qpid")
    echo "$(calc "$after - $before")" >"$work/out/quellbark-rate-cpu-$rep.txt"
  done
  # "<n> messages in <s> s, <rate> messages/s, <ms> ms CPU per message (this process), ..."
  q_wall=$(for r in $(seq "$reps"); do tail -n 1 "$work/out/quellbark-rate-$r.txt" | awk '{ print $4 }'; done | median)
  q_sender=$(for r in $(seq "$reps"); do tail -n 1 "$work/out/quellbark-rate-$r.txt" | awk '{ print $8 }'; done | median)
  q_alone_cpu=$(for r in $(seq "$reps"); do cat "$work/out/quellbark-rate-cpu-$r.txt"; done | median)
  q_failed=$(for r in $(seq "$reps"); do tail -n 1 "$work/out/quellbark-rate-$r.txt" | awk '{ print $(NF - 1) }'; done | sort -n | tail -1)
  q_rate=$(rate "$heldout" "$q_wall")
  rate_row=$(printf '| Quellbark alone, one Apple Event per message (median of %d) | %s s, %s messages/s, %s%% of bogofilter -b; CPU per message: sender %s / Quellbark+bogofilter %s ms; at most %s failed |' \
    "$reps" "$q_wall" "$q_rate" "$(calc "100 * $q_rate / $bf_rate" 1)" "$q_sender" "$(cpu_ms "$q_alone_cpu")" "$q_failed")
fi

log "bench: the native host, batches of 100 raw messages, $reps runs"
for rep in $(seq "$reps"); do
  node bench/native_host_rate.mjs "$mailhost" "$plugin" "$work/profile" 100 \
    <"$work/out/heldout-files.txt" >"$work/out/native-host-$rep.txt" 2>&1 || true
done
# "<n> messages in <s> s, <rate> messages/s, batches of 100; junk ..., good ..., ..."
native_wall=$(for r in $(seq "$reps"); do awk '{ print $4 }' "$work/out/native-host-$r.txt"; done | median)
native_row=$(printf '| native host, batches of 100 raw messages (median of %d) | %s s, %s messages/s, %s%% of the pipeline over folders; %s |' \
  "$reps" "$native_wall" "$(rate "$heldout" "$native_wall")" \
  "$(calc "100 * $(rate "$heldout" "$native_wall") / $pipe_rate" 1)" \
  "$(sed 's/^.*; //' "$work/out/native-host-1.txt")")

log "bench: IMAP, a private Dovecot on 127.0.0.1"
# The server's own users pass through to its mail; nothing in here is listed to them.
mkdir -m 0711 -p "$work/imap"
dovecot_start "$work/imap/server"
user_client=(python3 scripts/imap-user.py --port "$DOVECOT_PORT" --user "$DOVECOT_USER"
             --password-file "$DOVECOT_PASSWORD_FILE" --ca-file "$DOVECOT_CA")
account=imap://$DOVECOT_USER@127.0.0.1:$DOVECOT_PORT
"${host[@]}" account add "$account" --security tls --ca-file "$DOVECOT_CA" \
  --password-file "$DOVECOT_PASSWORD_FILE" >"$work/out/imap-account.out" 2>&1
# Each run classifies its own copy of the held-out mail, so that none carries a verdict yet.
for rep in $(seq "$reps"); do
  sed 's/^/heldout /' "$work/out/heldout-files.txt" |
    "${user_client[@]}" append "bench-$rep" "$work/imap/labels-$rep.json" >/dev/null 2>>"$work/out/imap-append.err"
  /usr/bin/time -f '%e %U %S %M' -o "$work/out/imap-time-$rep.txt" \
    "${host[@]}" classify --json "$account/bench-$rep" \
    >"$work/out/imap-classify-$rep.json" 2>"$work/out/imap-classify-$rep.err" || true
done
imap_wall=$(for r in $(seq "$reps"); do figures "$work/out/imap-time-$r.txt" | awk '{ print $1 }'; done | median)
imap_host_cpu=$(for r in $(seq "$reps"); do figures "$work/out/imap-time-$r.txt" | awk '{ print $2 + $3 }'; done | median)
imap_classified=$(grep -c '"verdict": "\(junk\|good\)"' "$work/out/imap-classify-1.json" || true)
imap_rate=$(rate "$heldout" "$imap_wall")
imap_row=$(printf '| IMAP: classify imap://.../FOLDER, held-out mail on the server (median of %d) | %s s, %s messages/s, %s%% of the pipeline over Maildir folders; host CPU %s ms per message; %d reported junk or good |' \
  "$reps" "$imap_wall" "$imap_rate" "$(calc "100 * $imap_rate / $pipe_rate" 1)" \
  "$(cpu_ms "$imap_host_cpu")" "$imap_classified")

log "bench: IMAP, APPEND to verdict while mailhost watch runs, $latency_count messages"
every_kth "$latency_count" <"$work/out/heldout-files.txt" >"$work/out/latency-files.txt"
start_watch "$work/out/watch.out" "$work/out/watch.err" "${host[@]}" || true
"${user_client[@]}" latency <"$work/out/latency-files.txt" >"$work/out/latency.txt" \
  2>"$work/out/latency.err" || true
kill -TERM "$watch_pid" && wait "$watch_pid" || true
watch_pid=
dovecot_stop
# "<seconds> <verdict>" per message, in the order appended.
latency_placed=$(wc -l <"$work/out/latency.txt")
percentile() { # P: the value below which P% of the sorted input falls (nearest rank)
  sort -n | awk -v p="$1" '{ v[NR] = $1 } END { r = int((p * NR + 99) / 100); if (r < 1) r = 1; print v[r] }'
}
latency_row=$(printf '| IMAP: APPEND to verdict on the server, mailhost watch running, placing polled every 5 ms (%d of %d messages placed; %d junk) | median %s ms, 99th percentile %s ms, slowest %s ms |' \
  "$latency_placed" "$(wc -l <"$work/out/latency-files.txt")" \
  "$(grep -c ' junk$' "$work/out/latency.txt" || true)" \
  "$(awk '{ print $1 * 1000 }' "$work/out/latency.txt" | percentile 50)" \
  "$(awk '{ print $1 * 1000 }' "$work/out/latency.txt" | percentile 99)" \
  "$(awk '{ print $1 * 1000 }' "$work/out/latency.txt" | percentile 100)")

agreement=$(node scripts/corpus.mjs agreement "$work/out/classify-1.json" "$work/out/bogofilter-1.txt")

log "bench: delivery filter, one process per message"
every_kth "$filter_count" <"$work/out/heldout-files.txt" >"$work/out/filter-files.txt"
filter_messages=$(wc -l <"$work/out/filter-files.txt")
filter_failed=0
# Each file through both, one after the other, so that both see the same load; the times are
# taken in the shell itself ($EPOCHREALTIME), which costs no process.
while read -r file; do
  t0=$EPOCHREALTIME
  "${host[@]}" filter <"$file" >/dev/null 2>>"$work/out/filter.err" || filter_failed=$((filter_failed + 1))
  t1=$EPOCHREALTIME
  bogofilter -C -d "$QUELLBARK_DATA_DIR" -p -e <"$file" >/dev/null || true
  echo "$t0 $t1 $EPOCHREALTIME"
done <"$work/out/filter-files.txt" >"$work/out/filter-times.txt"
filter_wall=$(awk '{ s += $2 - $1 } END { printf "%.3f", s }' "$work/out/filter-times.txt")
bf_each_wall=$(awk '{ s += $3 - $2 } END { printf "%.3f", s }' "$work/out/filter-times.txt")
filter_rate=$(rate "$filter_messages" "$filter_wall")
bf_each_rate=$(rate "$filter_messages" "$bf_each_wall")

log "bench: cold start, $cold_runs runs"
# One message, Quellbark not running: the host starts, loads the plug-in, which finds Quellbark
# missing and has Launch Services launch it, and the exchange waits for Quellbark to answer. The
# time is taken when the verdict line arrives, and again when the host has ended.
cold_file=$(head -n 1 "$work/out/heldout-files.txt")
for run in $(seq "$cold_runs"); do
  stop_quellbark
  start=$EPOCHREALTIME
  "${host[@]}" classify "$cold_file" 2>"$work/out/cold-$run.err" |
    {
      IFS= read -r line || true
      at=$EPOCHREALTIME
      cat >/dev/null
      read -r verdict _ <<<"$line"
      echo "$(calc "1000 * ($at - $start)" 1) $(calc "1000 * ($EPOCHREALTIME - $start)" 1) ${verdict:-none}"
    } >"$work/out/cold-$run.txt"
done
# "<ms to the verdict line> <ms to the host's end> <verdict>" per run.
cold_times() { for r in $(seq "$cold_runs"); do awk -v c="$1" '{ print $c }' "$work/out/cold-$r.txt"; done; }
cold_verdicts=$(cold_times 3 | grep -c '^\(junk\|good\)$' || true)
cold_ms=$(cold_times 1 | median)
cold_end_ms=$(cold_times 2 | median)
cold_all=$(cold_times 1 | paste -sd' ' -)

log "bench: memory"
# The held-out files, largest first, so that every volume holds the biggest messages and only
# the count differs between volumes.
xargs -d '\n' stat -c '%s %n' <"$work/out/heldout-files.txt" | sort -rn | cut -d' ' -f2- \
  >"$work/out/heldout-by-size.txt"
# make_volume KIND PATH COUNT: COUNT held-out messages, cycling through them, as a Maildir
# (KIND maildir) or a folder of *.eml files (eml), hard links under names of their own, or as
# an mbox file (mbox), each message after a "From " line and its own "From " lines quoted.
make_volume() {
  python3 - "$1" "$2" "$3" "$work/out/heldout-by-size.txt" <<'PYTHON'
import os, re, sys
kind, path, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
files = open(sys.argv[4]).read().split("\n")[:-1]
if kind == "mbox":
    quoted = []
    for name in files:
        text = re.sub(rb"(?m)^(>*From )", rb">\1", open(name, "rb").read())
        quoted.append(b"From bench@example.org Thu Jan  1 00:00:00 2026\n" + text.rstrip(b"\n") + b"\n\n")
    with open(path, "wb") as out:
        for i in range(count):
            out.write(quoted[i % len(quoted)])
    sys.exit(0)
subs = ("cur", "new", "tmp") if kind == "maildir" else (".",)
for sub in subs:
    os.makedirs(os.path.join(path, sub), mode=0o700, exist_ok=True)
for i in range(count):
    name = f"cur/{i:06d}.bench:2," if kind == "maildir" else f"{i:06d}.eml"
    os.link(files[i % len(files)], os.path.join(path, name))
PYTHON
}
link_volume() { make_volume maildir "$@"; }
# peak_kib PID: the process's peak resident size (VmHWM), or 0 when it is gone.
peak_kib() { awk '/^VmHWM:/ { print $2; found = 1 } END { if (!found) print 0 }' "/proc/$1/status" 2>/dev/null || echo 0; }
memory_rows=()
# A run's peak is the largest of many transients and moves by a few hundred KiB from run to run,
# so each row is the median of several runs.
memory_runs=${BENCH_MEMORY_RUNS:-3}
# memory_row NAME LABEL FOLDER...: the peak resident size of the host classifying the folders in
# one process (plain output: one line per message; --json is written batch by batch as well)
# and of the Quellbark that the run launched, with its bogofilter's; medians of memory_runs runs.
memory_row() {
  local name=$1 label=$2 run seconds kib qpid quellbark_kib bogofilter_kib child
  shift 2
  : >"$work/out/memory-$name.runs"
  for run in $(seq "$memory_runs"); do
    stop_quellbark
    /usr/bin/time -f '%e %M' -o "$work/out/memory-$name-$run.txt" \
      "${host[@]}" classify "$@" >"$work/out/memory-$name.txt.out" 2>"$work/out/memory-$name.err" || true
    read -r seconds kib < <(figures "$work/out/memory-$name-$run.txt")
    quellbark_kib=0 bogofilter_kib=0
    qpid=$(quellbark_pid)
    if [[ -n $qpid ]]; then
      quellbark_kib=$(peak_kib "$qpid")
      for child in $(cat "/proc/$qpid/task/"*/children 2>/dev/null); do
        bogofilter_kib=$((bogofilter_kib + $(peak_kib "$child")))
      done
    fi
    stop_quellbark
    echo "$kib $quellbark_kib $bogofilter_kib $seconds" >>"$work/out/memory-$name.runs"
  done
  runs_column() { awk -v c="$1" '{ print $c }' "$work/out/memory-$name.runs"; }
  kib=$(runs_column 1 | median)
  quellbark_kib=$(runs_column 2 | median)
  echo "$kib $quellbark_kib" >"$work/out/memory-$name.peaks"
  memory_rows+=("$(printf '| peak RSS, %s (median of %d runs; host %s KiB) | host %s KiB, Quellbark %s KiB (its bogofilter %s KiB); %s s |  |  |' \
    "$label" "$memory_runs" "$(runs_column 1 | sort -n | paste -sd/ -)" "$kib" "$quellbark_kib" \
    "$(runs_column 3 | median)" "$(runs_column 4 | median)")")
}
for count in $memory_counts; do
  link_volume "$work/volume-$count" "$count"
  memory_row "$count" "$count messages in one Maildir" "$work/volume-$count"
  make_volume mbox "$work/volume-$count.mbox" "$count"
  memory_row "mbox-$count" "$count messages in one mbox" "$work/volume-$count.mbox"
  rm -f "$work/volume-$count.mbox"
  make_volume eml "$work/volume-$count-eml" "$count"
  memory_row "eml-$count" "$count messages in one folder of *.eml files" "$work/volume-$count-eml"
done
# growth COLUMN KIND...: how far the largest peak over the counts lies above the smallest, in
# percent, for each folder kind (maildir, mbox, eml); the largest of these.
growth() {
  local column=$1 kind prefix
  shift
  for kind in "$@"; do
    prefix=$([[ $kind == maildir ]] || echo "$kind-")
    for count in $memory_counts; do awk -v c="$column" '{ print $c }' "$work/out/memory-$prefix$count.peaks"; done |
      sort -n | awk 'NR == 1 { low = $1 } { high = $1 } END { printf "%.1f\n", (low > 0 ? 100 * (high - low) / low : 0) }'
  done | sort -n | tail -1
}
host_growth=$(growth 1 maildir)
host_growth_mbox=$(growth 1 mbox)
host_growth_eml=$(growth 1 eml)
quellbark_growth=$(growth 2 maildir mbox eml)
# A peak of 0 is a process that was not there to measure, which meets nothing.
unmeasured=$(for count in $memory_counts; do cat "$work/out/memory-"{,mbox-,eml-}"$count.runs"; done | awk '$1 == 0 || $2 == 0' | wc -l)
memory_flat_row=$(printf '| peak RSS growth over %s messages (medians of %d runs): host (Maildir / mbox / *.eml folder) / Quellbark | +%s%% / +%s%% / +%s%% / +%s%%%s | at most 5%% each | %s |' \
  "$(printf '%s\n' $memory_counts | paste -sd/ -)" "$memory_runs" "$host_growth" "$host_growth_mbox" "$host_growth_eml" \
  "$quellbark_growth" "$( ((unmeasured == 0)) || echo "; $unmeasured runs not measured")" \
  "$(meets "$unmeasured == 0 && $host_growth <= 5 && $host_growth_mbox <= 5 && $host_growth_eml <= 5 && $quellbark_growth <= 5")")
# Several batches of 1,000 in one process, 10,000 at most: what grows with a batch is let go
# when it ends, what grows with the messages handled is not.
largest=$(printf '%s\n' $memory_counts | sort -n | tail -1)
split_total=$((largest < 10000 ? largest : 10000))
if ((split_total > 1000)); then
  folders=()
  for i in $(seq $((split_total / 1000))); do
    link_volume "$work/volume-split/$i" 1000
    folders+=("$work/volume-split/$i")
  done
  memory_row split "$((${#folders[@]} * 1000)) messages in folders of 1000" "${folders[@]}"
fi

# The same comparison on 10,000 messages: the workers' own start (a second host each, with its
# runtime and plug-in) weighs less than on the held-out run of under half a second.
steady_row=
if [[ -d $work/volume-10000 ]]; then
  log "bench: steady state, 10,000 messages, -j 1, -j 2, -j auto and bogofilter -b, $reps runs"
  find "$work/volume-10000" -type f >"$work/out/volume-10000-files.txt"
  "${host[@]}" classify "$(head -n 1 "$work/out/volume-10000-files.txt")" >/dev/null 2>&1 || true
  for rep in $(seq "$reps"); do
    for jobs in 1 2 auto; do
      timed "$work/out/steady-j$jobs-$rep.txt" \
        "${host[@]}" classify -j "$jobs" --json "$work/volume-10000" >/dev/null 2>&1 || true
    done
    timed "$work/out/steady-bf-$rep.txt" \
      bogofilter -C -d "$QUELLBARK_DATA_DIR" -b -TT <"$work/out/volume-10000-files.txt" >/dev/null || true
  done
  stop_quellbark
  steady_wall() { for r in $(seq "$reps"); do figures "$work/out/steady-$1-$r.txt" | awk '{ print $1 }'; done | median; }
  s1=$(steady_wall j1)
  s2=$(steady_wall j2)
  sauto=$(steady_wall jauto)
  sbf=$(steady_wall bf)
  steady_row=$(printf '| steady state, 10,000 messages in one folder (median of %d): -j 1 / -j 2 / -j auto (%d workers) / bogofilter -b | %s / %s / %s / %s s; -j 2 at %s%%, -j auto at %s%% of bogofilter -b | -j auto at or above bogofilter -b | %s |' \
    "$reps" "$auto_workers" "$s1" "$s2" "$sauto" "$sbf" "$(calc "100 * $sbf / $s2" 1)" \
    "$(calc "100 * $sbf / $sauto" 1)" "$(meets "$sauto <= $sbf")")
fi

log "bench: Apple Event round trip"
"$root/$build/bin/ae_roundtrip" --benchmark_min_time=0.3 --benchmark_format=console \
  >"$work/out/ae_roundtrip.txt" 2>/dev/null || true

{
  # Rows made as "| figure | value |" get empty target and verdict cells.
  plain() { printf '%s  |  |\n' "$1"; }
  echo "| Figure | Value | Target | Met |"
  echo "|---|---|---|---|"
  printf '| messages classified (held out) | %d (%d reported junk or good) |  |  |\n' "$heldout" "$classified"
  printf '| pipeline, `classify` (-j 1): wall time (median of %d) | %s s, %s messages/s, %s%% of bogofilter -b |  |  |\n' \
    "$cpu_reps" "$pipe_wall" "$pipe_rate" "$share"
  [[ -z $jauto_row ]] || printf '%s\n' "$jauto_row"
  [[ -z $steady_row ]] || printf '%s\n' "$steady_row"
  printf '| bogofilter -b: wall time (median of %d) | %s s, %s messages/s |  |  |\n' "$cpu_reps" "$bf_wall" "$bf_rate"
  plain "$rate_row"
  printf '| CPU per message: host / Quellbark own / bogofilter (Quellbark+bogofilter) | %s / %s / %s ms (%s ms) | host at most 0.08, Quellbark own at most 0.06 | %s / %s |\n' \
    "$(cpu_ms "$host_cpu")" "$(cpu_ms "$q_own_cpu")" "$(cpu_ms "$bf_cpu")" "$(cpu_ms "$q_cpu")" \
    "$(meets "$(cpu_ms "$host_cpu") <= 0.08")" "$(meets "$(cpu_ms "$q_own_cpu") <= 0.06")"
  printf '| pipeline CPU / bogofilter CPU | %s | at most 1.5 | %s |\n' \
    "$(calc "$pipe_cpu / $bf_cpu" 2)" "$(meets "$pipe_cpu <= 1.5 * $bf_cpu")"
  printf '%s\n' "${memory_rows[@]}"
  printf '%s\n' "$memory_flat_row"
  printf '| cold start: one message, Quellbark not running, to the verdict line (median of %d; runs %s ms) | %s ms (host ended at %s ms); %d of %d verdicts | under 300 ms | %s |\n' \
    "$cold_runs" "$cold_all" "$cold_ms" "$cold_end_ms" "$cold_verdicts" "$cold_runs" \
    "$(meets "$cold_ms < 300 && $cold_verdicts == $cold_runs")"
  printf '| agreement with bogofilter (same word list) | %s |  |  |\n' "$agreement"
  plain "$native_row"
  plain "$imap_row"
  plain "$latency_row"
  printf '| delivery filter, one process per message | %d messages in %s s, %s messages/s; %d failed |  |  |\n' \
    "$filter_messages" "$filter_wall" "$filter_rate" "$filter_failed"
  printf '| bogofilter -p -e, one process per message, same messages | %s s, %s messages/s |  |  |\n' \
    "$bf_each_wall" "$bf_each_rate"
  printf '| delivery filter rate / bogofilter per-message rate | %s%% |  |  |\n' \
    "$(calc "100 * $filter_rate / $bf_each_rate" 1)"
  printf '| training through the plug-in | %d messages in %.1f s |  |  |\n' "$trained" "$train_seconds"
  printf '| bogofilter -s/-n -b training, same messages | %.1f s |  |  |\n' "$direct_train_seconds"
  grep '^BM_' "$work/out/ae_roundtrip.txt" | awk '
    $2 == "ERROR" { name = $1; $1 = ""; printf "| %s |%s |  |  |\n", name, $0; next }
    { printf "| %s | %s %s wall, %s %s CPU |  |  |\n", $1, $2, $3, $4, $5 }'
  echo
  echo "load average at the start: $load_at_start; at the end: $(cut -d' ' -f1-3 /proc/loadavg); $(nproc) cores; whole run $(calc "$(date +%s) - $run_start" 0) s"
} | tee "$work/results.md"
