"""The processes of a campaign's runs, and what they leave behind."""

import ctypes
import os
import pathlib
import signal
import subprocess
import threading


def become_reaper():
    """Orphans of a run come to us, so that none is missed."""
    PR_SET_CHILD_SUBREAPER = 36
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def processes():
    """All of the machine, as (pid, state, parent, session)."""
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            fields = (folder / "stat").read_text().rsplit(")", 1)[1].split()
        except OSError:
            continue
        yield int(folder.name), fields[0], int(fields[1]), int(fields[3])


def take_end(pid, flags=0):
    try:
        os.waitpid(pid, flags)
    except ChildProcessError:
        pass


class Sessions:
    """The runs at work: each has a session of its own."""

    def __init__(self):
        self.lock = threading.Lock()
        self.running = set()

    def start(self, command, **how):
        with self.lock:
            child = subprocess.Popen(command, start_new_session=True, **how)
            self.running.add(child.pid)
            return child

    def end(self, session):
        """Ends what is left of a run; says what there was."""
        left = [(pid, state) for pid, state, _, of in processes() if of == session]
        for pid, _ in left:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        for pid, _ in left:
            take_end(pid)
        with self.lock:
            self.running.discard(session)
            self.bury_adopted()
        return left

    def bury_adopted(self):
        """What left its run's session, as Wine's processes do, became a child of ours."""
        for pid, state, parent, session in processes():
            if state == "Z" and parent == os.getpid() and session not in {os.getsid(0), *self.running}:
                take_end(pid, os.WNOHANG)
