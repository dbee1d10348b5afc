#!/usr/bin/env python3
"""Runs a command and writes to FILE its wall time, user and system CPU time in seconds, as
`/usr/bin/time -f '%e %U %S' -o FILE` writes them but to the microsecond: time's hundredths are
10% of a run of a tenth of a second. (No peak RSS: until the command starts, its process is
this interpreter's, whose size the kernel would count as the command's.)

usage: timed.py FILE COMMAND [ARGUMENT...]     exits with the command's status
"""
import os
import sys
import time

if len(sys.argv) < 3:
    sys.exit(__doc__.strip().splitlines()[-1].strip())
out, command = sys.argv[1], sys.argv[2:]
start = time.monotonic()
try:
    pid = os.posix_spawnp(command[0], command, os.environ)
except OSError as error:
    sys.exit(f"timed.py: cannot run {command[0]}: {error.strerror}")
# The child's own usage and that of every child it waited for, as time reports it.
_, status, usage = os.wait4(pid, 0)
wall = time.monotonic() - start
with open(out, "w") as report:
    report.write(f"{wall:.4f} {usage.ru_utime:.6f} {usage.ru_stime:.6f}\n")
code = os.waitstatus_to_exitcode(status)
sys.exit(code if code >= 0 else 128 - code)
