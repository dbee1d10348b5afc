#!/usr/bin/env python3
"""The user's other mail client, for tests: one IMAP action against a test server, JSON out."""
import imaplib
import json
import re
import sys


def main(host, port, user, password, action, *args):
    imap = imaplib.IMAP4(host, int(port))
    imap.login(user, password)
    result = {}
    if action == "append":
        folder, path, *flags = args
        with open(path, "rb") as f:
            data = f.read()
        typ, resp = imap.append(folder, "(" + " ".join(flags) + ")" if flags else None, None, data)
        m = re.search(rb"APPENDUID \d+ (\d+)", resp[0] or b"")
        result = {"uid": int(m.group(1)) if m else 0}
    elif action == "list":
        (folder,) = args
        imap.select(folder, readonly=True)
        typ, data = imap.uid("FETCH", "1:*", "(UID FLAGS BODY.PEEK[HEADER.FIELDS (SUBJECT)])")
        result = []
        for item in data:
            if not isinstance(item, tuple):
                continue
            meta = item[0].decode()
            uid = int(re.search(r"UID (\d+)", meta).group(1))
            flags = re.search(r"FLAGS \(([^)]*)\)", meta).group(1).split()
            subject = item[1].decode(errors="replace").partition(":")[2].strip()
            result.append({"uid": uid, "flags": flags, "subject": subject})
    elif action == "move":
        folder, uid, dest = args
        imap.select(folder)
        typ, _ = imap.uid("MOVE", uid, dest)
        if typ != "OK":
            imap.uid("COPY", uid, dest)
            imap.uid("STORE", uid, "+FLAGS.SILENT", "(\\Deleted)")
            imap.expunge()
    elif action == "flag":
        folder, uid, change = args
        imap.select(folder)
        imap.uid("STORE", uid, change[0] + "FLAGS.SILENT", "(" + change[1:] + ")")
    else:
        raise SystemExit("unknown action " + action)
    imap.logout()
    print(json.dumps(result))


if __name__ == "__main__":
    main(*sys.argv[1:])
