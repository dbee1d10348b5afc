#!/usr/bin/env python3
"""The user's other mail client for the demonstration and the benchmarks (Python's imaplib, TLS).

  imap-user.py CONNECTION append FOLDER MAP      < "LABEL FILE" lines
      Appends each file's bytes to FOLDER (made when missing) and records in MAP (JSON) which
      label each message's digest belongs to, so the messages carry nothing but their own bytes.
  imap-user.py CONNECTION wait TOTAL STALL
      Prints "DONE TOTAL" whenever the number of messages with a verdict changes (in Junk, or in
      INBOX with $NotJunk); ends 0 when all TOTAL have one, 1 after STALL seconds without change.
  imap-user.py CONNECTION tally MAP OUT.json
      Reads INBOX and Junk back and writes the verdicts per label in the form corpus.mjs tallies.
  imap-user.py CONNECTION latency         < FILE lines
      Appends the files to INBOX one at a time and polls the message's place every 5 ms from a
      second connection (the server's IDLE announces changes up to a second late, and not at
      all for a message that came and went between two announcements): placed when it carries
      $NotJunk (good) or has left INBOX for Junk (junk). Prints the seconds from each APPEND to
      its placing and the verdict, one message per line.

CONNECTION is --port PORT --user USER --password-file FILE --ca-file PEM (server on 127.0.0.1).
"""
import argparse
import hashlib
import imaplib
import json
import os
import re
import ssl
import sys
import time

JUNK_FOLDER = "Junk"


def connect(args, timeout=30):
    context = ssl.create_default_context(cafile=args.ca_file)
    imap = imaplib.IMAP4_SSL("127.0.0.1", args.port, ssl_context=context, timeout=timeout)
    with open(args.password_file, encoding="utf-8") as f:
        imap.login(args.user, f.read().strip())
    return imap


def digest(message):
    # The server hands messages back with CRLF line ends whatever was appended.
    return hashlib.sha256(re.sub(rb"\r\n|\r|\n", b"\n", message)).hexdigest()


def ensure_folder(imap, folder):
    if folder.upper() != "INBOX" and imap.select(folder, readonly=True)[0] != "OK":
        imap.create(folder)


def append(args):
    imap = connect(args)
    ensure_folder(imap, args.folder)
    labels = {}
    appended = failed = 0
    for line in sys.stdin:
        label, _, path = line.rstrip("\n").partition(" ")
        with open(path, "rb") as f:
            message = f.read()
        try:
            typ, said = imap.append(args.folder, None, None, message)
        except imaplib.IMAP4.error as error:
            typ, said = "NO", [str(error).encode()]
        if typ != "OK":
            failed += 1
            print(f"imap-user: {path} not appended: {said[0]!r}", file=sys.stderr)
            continue
        counts = labels.setdefault(digest(message), {})
        counts[label] = counts.get(label, 0) + 1
        appended += 1
    imap.logout()
    with open(args.map, "w", encoding="utf-8") as f:
        json.dump(labels, f)
    print(appended)
    return 1 if failed else 0


def count_with_verdict(imap):
    typ, data = imap.status(JUNK_FOLDER, "(MESSAGES)")
    junk = int(re.search(rb"MESSAGES (\d+)", data[0]).group(1)) if typ == "OK" else 0
    imap.select("INBOX", readonly=True)
    typ, data = imap.search(None, "KEYWORD", "$NotJunk")
    return junk + (len(data[0].split()) if typ == "OK" else 0)


def wait(args):
    imap = connect(args)
    last, changed = -1, time.monotonic()
    while True:
        done = count_with_verdict(imap)
        if done != last:
            last, changed = done, time.monotonic()
            print(done, args.total, flush=True)
        if done >= args.total:
            imap.logout()
            return 0
        if time.monotonic() - changed > args.stall:
            imap.logout()
            return 1
        time.sleep(0.25)


def messages_in(imap, folder):
    imap.select(folder, readonly=True)
    typ, data = imap.uid("FETCH", "1:*", "(FLAGS BODY.PEEK[])")
    for item in data if typ == "OK" else []:
        if isinstance(item, tuple):
            flags = re.search(rb"FLAGS \(([^)]*)\)", item[0])
            yield (flags.group(1).decode().split() if flags else []), item[1]


def tally(args):
    with open(args.map, encoding="utf-8") as f:
        labels = json.load(f)
    imap = connect(args, timeout=120)
    results, unknown = [], 0
    for folder in ("INBOX", JUNK_FOLDER):
        for flags, message in messages_in(imap, folder):
            counts = labels.get(digest(message), {})
            label = next((name for name, n in counts.items() if n > 0), None)
            if label is None:
                unknown += 1
                continue
            counts[label] -= 1
            verdict = ("junk" if folder == JUNK_FOLDER
                       else "good" if "$NotJunk" in flags else "unclassified")
            results.append({"folder": f"{folder}/{label}/", "verdict": verdict})
    imap.logout()
    with open(args.out, "w", encoding="utf-8") as f:
        json.dump({"messages": results}, f)
    if unknown:
        print(f"imap-user: {unknown} message(s) on the server were not appended by this run",
              file=sys.stderr)
    return 0


def placed(imap, uid, junk_before, interval, deadline):
    """Polls until the message with UID is placed: "good" once it carries $NotJunk, "junk" once
    it has left INBOX and Junk holds one more message; None at the deadline."""
    while time.monotonic() < deadline:
        typ, data = imap.uid("FETCH", str(uid), "(FLAGS)")
        flags = next((item for item in data if isinstance(item, bytes)), None) if typ == "OK" else None
        if flags is None and junk_count(imap) > junk_before:
            return "junk"
        if flags is not None and b"$NotJunk" in flags:
            return "good"
        time.sleep(interval)
    return None


def junk_count(imap):
    typ, data = imap.status(JUNK_FOLDER, "(MESSAGES)")
    return int(re.search(rb"MESSAGES (\d+)", data[0]).group(1))


def latency(args):
    appender = connect(args)
    watcher = connect(args, timeout=args.timeout)
    watcher.select("INBOX", readonly=True)
    missed = 0
    for line in sys.stdin:
        with open(line.rstrip("\n"), "rb") as f:
            message = f.read()
        junk_before = junk_count(watcher)
        start = time.monotonic()
        typ, said = appender.append("INBOX", None, None, message)
        uid = re.search(rb"APPENDUID \d+ (\d+)", said[0] or b"") if typ == "OK" else None
        if not uid:
            missed += 1
            continue
        verdict = placed(watcher, int(uid.group(1)), junk_before, args.poll, start + args.timeout)
        if verdict is None:
            print("imap-user: no verdict within the time allowed; stopping", file=sys.stderr)
            missed += 1
            break
        print(f"{time.monotonic() - start:.6f} {verdict}", flush=True)
        time.sleep(args.pause)
    watcher.logout()
    appender.logout()
    return 1 if missed else 0


def main():
    os.umask(0o077)  # what it writes is the user's alone
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--port", type=int, required=True)
    parser.add_argument("--user", required=True)
    parser.add_argument("--password-file", required=True)
    parser.add_argument("--ca-file", required=True)
    commands = parser.add_subparsers(dest="command", required=True)
    p = commands.add_parser("append")
    p.add_argument("folder")
    p.add_argument("map")
    p.set_defaults(run=append)
    p = commands.add_parser("wait")
    p.add_argument("total", type=int)
    p.add_argument("stall", type=float)
    p.set_defaults(run=wait)
    p = commands.add_parser("tally")
    p.add_argument("map")
    p.add_argument("out")
    p.set_defaults(run=tally)
    p = commands.add_parser("latency")
    p.add_argument("--timeout", type=float, default=30)
    p.add_argument("--poll", type=float, default=0.005)
    p.add_argument("--pause", type=float, default=0, help="seconds between a placing and the next APPEND")
    p.set_defaults(run=latency)
    args = parser.parse_args()
    try:
        return args.run(args)
    except (OSError, imaplib.IMAP4.error) as error:
        print(f"imap-user: {error}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main())
