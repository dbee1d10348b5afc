#!/usr/bin/env bash
# The demonstration after `make build`: the host loads the plug-in bundle, then Quellbark is
# trained through the plug-in on real mail (the public SpamAssassin corpus) and classifies mail
# it has not seen, and the result is shown as a confusion table. Then the same held-out mail is
# appended to a private IMAP server (Dovecot on 127.0.0.1, its own configuration, certificate and
# user under <build>/demo/imap) while `mailhost watch` filters the INBOX as mail arrives, and the
# table is read back from the server's folders.
#
# Everything lives under <build>/demo and is made afresh on each run: the host's profile,
# Quellbark's preferences (CFFIXED_USER_HOME, HOME), the Apple Event runtime folder
# (XDG_RUNTIME_DIR), an empty word list (QUELLBARK_DATA_DIR) and the mail folders. The user's
# own preferences, word list and running applications are not touched.
#
# Environment: QB_BUILD (default build/default); DEMO_LIMIT=N takes only the first N messages
# of each of the corpus's five groups (a quicker run); DEMO_CHUNK (100) messages per folder.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/isolated-user.sh
source scripts/lib/private-dovecot.sh
root=$PWD
build=${QB_BUILD:-build/default}
demo=$root/$build/demo
chunk=${DEMO_CHUNK:-100}
mailhost=$root/$build/bin/mailhost
plugin=$root/$build/lib/QuellbarkPlugIn.so
app=$root/$build/Quellbark.app

for need in "$mailhost" "$plugin" "$app/Contents/MacOS/Quellbark"; do
  [[ -e $need ]] || { echo "demo: $need is missing; run 'make build' first" >&2; exit 1; }
done
command -v node >/dev/null || { echo "demo: node is missing (scripts/install-deps.sh)" >&2; exit 1; }

rm -rf "$demo"
mkdir -p "$demo/logs" "$demo/results"
isolate_user "$demo" "$root" "$build"
host=("$mailhost" --profile "$demo/profile" --plugin "$plugin")

# The watch, the IMAP server and Quellbark (once the plug-in has launched it) are stopped at the
# end however the run ends.
watch_pid=
stop_all() {
  if [[ -n $watch_pid ]]; then
    kill -TERM "$watch_pid" 2>/dev/null && wait "$watch_pid" 2>/dev/null || true
  fi
  dovecot_stop
  stop_quellbark verbose
}
trap stop_all EXIT

# A bar on a terminal; otherwise a plain line at every tenth of the way, so a log stays short.
last_tenth=-1
progress() { # done total what
  if [[ -t 2 ]]; then
    local width=30 filled=$(($1 * 30 / $2))
    printf '\r%-9s [%s%s] %d/%d' "$3" "$(printf '%*s' $filled '' | tr ' ' '#')" \
      "$(printf '%*s' $((width - filled)) '' | tr ' ' '.')" "$1" "$2" >&2
    (($1 < $2)) || printf '\n' >&2
  elif (($1 * 10 / $2 != last_tenth)); then
    last_tenth=$(($1 * 10 / $2))
    printf '%s: %d/%d messages\n' "$3" "$1" "$2" >&2
  fi
}
count_messages() { ls "$1/cur" | wc -l; }
elapsed() { awk "BEGIN { printf \"%.3f\", $(date +%s.%N) - $1 }"; }
failures=0

echo "== 1. The host loads the plug-in bundle"
mkdir -p "$HOME/Library/Preferences"
"$app/Contents/MacOS/Quellbark" loglevel 10 >/dev/null
"${host[@]}" info 2>&1 | sed 's/^/   /'
"$app/Contents/MacOS/Quellbark" loglevel 40 >/dev/null
echo "   (the \"Quellbark Thunderbird Plug-In:\" lines are the plug-in's log at level 10; the"
echo "    rest of the demo runs at the default level 40, errors only)"
echo

echo "== 2. Real mail: the public SpamAssassin corpus"
data=$(bash scripts/fetch-corpus.sh "$root/$build/corpus")
split_args=(--chunk "$chunk")
[[ -n ${DEMO_LIMIT:-} ]] && split_args+=(--limit "$DEMO_LIMIT")
counts=$(node scripts/corpus.mjs split "$data" "$demo/mail" "${split_args[@]}")
node -e '
  const c = JSON.parse(process.argv[1]);
  console.log(`   training: ${c.train.spam} spam, ${c.train.ham} ham;` +
              ` held out: ${c.heldout.spam} spam, ${c.heldout.ham} ham`);' "$counts"
echo "   Maildir folders of at most $chunk messages under $demo/mail"
echo "   (a fixed 80/20 split by a seeded SHA-256 of each message)"
echo

echo "== 3. Training Quellbark through the plug-in (mailhost mark, one run per folder)"
train_total=$(find "$demo/mail/train" -path '*/cur/*' -type f | wc -l)
done_count=0
start=$(date +%s.%N)
for label in spam ham; do
  verdict=$([[ $label == spam ]] && echo junk || echo good)
  for folder in "$demo/mail/train/$label"/*/; do
    folder=${folder%/}
    name=train-$label-$(basename "$folder")
    if ! "${host[@]}" mark "$verdict" "$folder" >"$demo/logs/$name.out" 2>"$demo/logs/$name.err"; then
      failures=$((failures + 1))
    fi
    done_count=$((done_count + $(count_messages "$folder")))
    progress "$done_count" "$train_total" training
  done
done
seconds=$(elapsed "$start")
printf '   %d messages learned in %.1f s\n' "$train_total" "$seconds"
"$app/Contents/MacOS/Quellbark" status | sed 's/^/   /'
echo

echo "== 4. Classifying the held-out mail through the plug-in (mailhost classify --json)"
test_total=$(find "$demo/mail/heldout" -path '*/cur/*' -type f | wc -l)
done_count=0 last_tenth=-1
start=$(date +%s.%N)
for folder in "$demo/mail/heldout"/*/*/; do
  folder=${folder%/}
  name=heldout-$(basename "$(dirname "$folder")")-$(basename "$folder")
  if ! "${host[@]}" classify --json "$folder" >"$demo/results/$name.json" 2>"$demo/logs/$name.err"; then
    failures=$((failures + 1))
  fi
  done_count=$((done_count + $(count_messages "$folder")))
  progress "$done_count" "$test_total" classify
done
seconds=$(elapsed "$start")
echo
node scripts/corpus.mjs tally "$seconds" "$demo/results"/*.json | sed 's/^/   /'
echo "   (speed: wall time of the whole loop, one mailhost process per folder of $chunk)"
echo

echo "== 5. The same held-out mail on an IMAP server, filtered as it arrives (mailhost watch)"
imap=$demo/imap
# The server's own users pass through to its mail; nothing in here is listed to them.
mkdir -m 0711 -p "$imap"
dovecot_start "$imap/server"
user_client=(python3 scripts/imap-user.py --port "$DOVECOT_PORT" --user "$DOVECOT_USER"
             --password-file "$DOVECOT_PASSWORD_FILE" --ca-file "$DOVECOT_CA")
account=imap://$DOVECOT_USER@127.0.0.1:$DOVECOT_PORT
"${host[@]}" account add "$account" --security tls --ca-file "$DOVECOT_CA" \
  --password-file "$DOVECOT_PASSWORD_FILE" >"$demo/logs/imap-account.out" 2>&1 ||
  { cat "$demo/logs/imap-account.out" >&2; exit 1; }
echo "   a private Dovecot on 127.0.0.1:$DOVECOT_PORT (TLS, its own certificate), account $account"
start_watch "$demo/logs/imap-watch.out" "$demo/logs/imap-watch.err" "${host[@]}" ||
  { echo "demo: mailhost watch did not start:" >&2; cat "$demo/logs/imap-watch.err" >&2; exit 1; }
# Each message goes in as its own bytes; which corpus folder it came from is kept here, by digest.
start=$(date +%s.%N)
appended=$(find "$demo/mail/heldout" -path '*/cur/*' -type f | sort |
  sed -E 's#^(.*/heldout/(spam|ham)/.*)$#\2 \1#' |
  "${user_client[@]}" append INBOX "$imap/labels.json" 2>"$demo/logs/imap-append.err") ||
  failures=$((failures + 1))
[[ $appended =~ ^[0-9]+$ ]] ||
  { echo "demo: the mail could not be appended:" >&2; cat "$demo/logs/imap-append.err" >&2; exit 1; }
echo "   $appended messages appended to INBOX; mailhost watch classifies them as they arrive"
last_tenth=-1
if ! "${user_client[@]}" wait "$appended" 60 2>"$demo/logs/imap-wait.err" |
  while read -r placed total; do progress "$placed" "$total" watch; done; then
  echo "   not every message got a verdict (none for a minute); see $demo/logs/imap-watch.err" >&2
  failures=$((failures + 1))
fi
seconds=$(elapsed "$start")
kill -TERM "$watch_pid"
wait "$watch_pid" || { echo "demo: mailhost watch ended with status $?" >&2; failures=$((failures + 1)); }
watch_pid=
echo "   read back from the server: junk is what is in Junk, good what carries \$NotJunk in INBOX"
"${user_client[@]}" tally "$imap/labels.json" "$imap/results.json" 2>"$demo/logs/imap-tally.err" ||
  failures=$((failures + 1))
node scripts/corpus.mjs tally "$seconds" "$imap/results.json" | sed 's/^/   /'
echo "   (speed: from the first APPEND to the last verdict on the server, watch waiting with IDLE)"
dovecot_stop
echo "   Stopped mailhost watch and the IMAP server."
echo

if ((failures > 0)); then
  echo "$failures mailhost run(s) reported problems; the first lines of their logs:" >&2
  awk 'NR <= 20' "$demo/logs"/*.err >&2
  exit 1
fi
