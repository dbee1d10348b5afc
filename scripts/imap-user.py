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
      Appends the files to INBOX one at a time while watching INBOX with IDLE on a second
      connection; a message is placed when it gets $NotJunk (good) or leaves INBOX (junk, moved
      to Junk). Prints the seconds from each APPEND to its placing, one per line.

CONNECTION is --port PORT --user USER --password-file FILE --ca-file PEM (server on 127.0.0.1).
"""
import argparse
import hashlib
import imaplib
import json
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


class InboxWatcher:
    """INBOX under IDLE: follows the message count and reports how the newest message ended."""

    def __init__(self, imap, timeout):
        self.imap = imap
        self.imap.sock.settimeout(timeout)
        typ, data = imap.select("INBOX")
        self.exists = int(data[0])
        self.tag = imap._new_tag()
        imap.send(self.tag + b" IDLE\r\n")
        while not imap.readline().startswith(b"+"):
            pass

    def placed(self, before):
        """Waits until the message that made INBOX grow past BEFORE is placed; its verdict."""
        newest = None
        while True:
            line = self.imap.readline()
            if not line:
                raise OSError("the server closed the watching connection")
            m = re.match(rb"\* (\d+) (EXISTS|EXPUNGE|FETCH)(.*)", line)
            if not m:
                continue
            number, kind = int(m.group(1)), m.group(2)
            if kind == b"EXISTS":
                self.exists = number
                if newest is None and number > before:
                    newest = number
            elif kind == b"EXPUNGE":
                self.exists -= 1
                if newest is not None and number == newest:
                    return "junk"
                if newest is not None and number < newest:
                    newest -= 1
            elif newest is not None and number == newest and b"$NotJunk" in m.group(3):
                return "good"

    def close(self):
        self.imap.send(b"DONE\r\n")
        while not self.imap.readline().startswith(self.tag):
            pass
        self.imap.logout()


def latency(args):
    appender = connect(args)
    watcher = InboxWatcher(connect(args), timeout=args.timeout)
    missed = 0
    for line in sys.stdin:
        with open(line.rstrip("\n"), "rb") as f:
            message = f.read()
        before = watcher.exists
        start = time.monotonic()
        if appender.append("INBOX", None, None, message)[0] != "OK":
            missed += 1
            continue
        try:
            verdict = watcher.placed(before)
        except (TimeoutError, OSError) as error:
            print(f"imap-user: no verdict seen: {error}", file=sys.stderr)
            missed += 1
            break
        print(f"{time.monotonic() - start:.6f} {verdict}", flush=True)
    watcher.close()
    appender.logout()
    return 1 if missed else 0


def main():
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
    p.set_defaults(run=latency)
    args = parser.parse_args()
    try:
        return args.run(args)
    except (OSError, imaplib.IMAP4.error) as error:
        print(f"imap-user: {error}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main())
