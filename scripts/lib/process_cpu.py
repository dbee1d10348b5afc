#!/usr/bin/env python3
"""Prints the CPU seconds used so far by the given processes, to the nanosecond, each counting
every thread it has had, ended ones included (the kernel's process CPU clock): a process that
serves each client on a thread of its own loses that thread when the client goes, and the
per-thread figures under /proc would lose its time with it. A process that is gone counts 0.

usage: process_cpu.py PID...
"""
import ctypes
import ctypes.util
import sys

libc = ctypes.CDLL(ctypes.util.find_library("c"), use_errno=True)


class Timespec(ctypes.Structure):
    _fields_ = [("tv_sec", ctypes.c_long), ("tv_nsec", ctypes.c_long)]


def cpu_seconds(pid):
    clock = ctypes.c_int()
    if libc.clock_getcpuclockid(pid, ctypes.byref(clock)) != 0:
        return 0.0
    now = Timespec()
    if libc.clock_gettime(clock, ctypes.byref(now)) != 0:
        return 0.0
    return now.tv_sec + now.tv_nsec / 1e9


if len(sys.argv) < 2:
    sys.exit(__doc__.strip().splitlines()[-1].strip())
print(f"{sum(cpu_seconds(int(pid)) for pid in sys.argv[1:]):.9f}")
