"""Holds one thread of a process, as if it hung, until the process ends: hold_thread.py PID NAME."""
import ctypes
import os
import pathlib
import sys

ATTACH = 16
ALL_THREADS = 0x40000000  # __WALL, which the module os does not name
libc = ctypes.CDLL(None, use_errno=True)
for task in pathlib.Path(f"/proc/{sys.argv[1]}/task").iterdir():
    if task.joinpath("comm").read_text().strip() != sys.argv[2]:
        continue
    if libc.ptrace(ATTACH, int(task.name), None, None) != 0:
        sys.exit(os.strerror(ctypes.get_errno()))
    status = 0x7F
    while os.WIFSTOPPED(status):
        status = os.waitpid(int(task.name), ALL_THREADS)[1]
    sys.exit()
sys.exit("no such thread")
