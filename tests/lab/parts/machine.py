"""One boot: a QEMU process, its streams, and what the guest asks of the world outside."""

import ctypes
import json
import os
import selectors
import signal
import socket
import subprocess
import tempfile
import time

STREAMS = ("console", "text", "control", "monitor")


def end_with_parent():
    """Runs in QEMU's process: it ends when the lab is killed."""
    ctypes.CDLL(None).prctl(1, signal.SIGKILL, 0, 0, 0)


class Machine:
    """Runs one guest until it says "done", loses its power ("cut") or takes too long.

    `status` is the boot script's exit status, "cut", or None when the guest died or hung.
    """

    def __init__(self, command, drives, show):
        self.drives = {drive.name: drive for drive in drives}
        self.show = show
        self.console, self.status, self.ready_after = b"", None, None
        self.rest = {"control": b"", "monitor": b""}
        self.answers, self.number, self.leaving = {}, 0, set()
        self.began = time.monotonic()
        self.selector = selectors.DefaultSelector()
        self.ours, theirs = {}, {}
        for name in STREAMS:
            self.ours[name], theirs[name] = socket.socketpair()
            self.selector.register(self.ours[name], selectors.EVENT_READ, name)
        words = list(command)
        for name in STREAMS:
            words += ["-chardev", f"socket,id=c-{name},fd={theirs[name].fileno()}"]
        words += ["-serial", "chardev:c-console", "-mon", "chardev=c-monitor,mode=control",
                  "-device", "virtio-serial-pci"]
        for name in ("text", "control"):
            words += ["-device", f"virtserialport,chardev=c-{name},name=lab.{name}"]
        self.complaints = tempfile.TemporaryFile()
        self.process = subprocess.Popen(
            words, pass_fds=[s.fileno() for s in theirs.values()], stdin=subprocess.DEVNULL,
            stdout=self.complaints, stderr=self.complaints, preexec_fn=end_with_parent)
        for stream in theirs.values():
            stream.close()
        self._ask({"execute": "qmp_capabilities"}, lambda answer: None)

    def run(self, seconds):
        """False when the time is over before the guest is."""
        deadline = self.began + seconds
        streams = len(STREAMS)
        try:
            while streams:
                left = deadline - time.monotonic()
                if left <= 0:
                    return False
                for key, _ in self.selector.select(min(left, 1.0)):
                    try:
                        data = key.fileobj.recv(65536)
                    except ConnectionError:
                        data = b""
                    if data:
                        self._take(key.data, data)
                    else:
                        self.selector.unregister(key.fileobj)
                        streams -= 1
            return True
        finally:
            self.process.kill()
            self.process.wait()

    def last_words(self):
        self.complaints.seek(0)
        text = self.complaints.read() + self.console
        return "\n".join(text.decode("utf-8", "replace").strip().splitlines()[-25:])

    def _take(self, name, data):
        if name == "console":
            self.console += data
        if name in ("console", "text"):
            if name == "text" or self.show:
                os.write(2, data)
            return
        *lines, self.rest[name] = (self.rest[name] + data).split(b"\n")
        for line in lines:
            if name == "control":
                self._control(line.decode("utf-8", "replace").split())
            else:
                self._monitor(json.loads(line))

    def _ask(self, request, then):
        self.number += 1
        self.answers[self.number] = then
        self.ours["monitor"].sendall(json.dumps(dict(request, id=self.number)).encode())

    def _tell(self, text):
        self.ours["control"].sendall((text + "\n").encode())

    def _monitor(self, message):
        if message.get("event") == "DEVICE_DELETED":
            name = message["data"].get("device")
            if name in self.leaving:
                self.leaving.remove(name)
                self._tell("ok")
        elif "id" in message:
            self.answers.pop(message["id"])(message)

    def _control(self, words):
        verb, name = (words + ["", ""])[:2]
        if verb == "ready":
            self.ready_after = time.monotonic() - self.began
        elif verb == "done":
            self.status = int(name)
            self._ask({"execute": "quit"}, lambda answer: None)
        elif verb == "cut":
            # What the guest has not sent to its drives is lost, as when the plug is pulled.
            self.status = "cut"
            self.process.kill()
        elif verb == "plug" and name in self.drives:
            self._ask({"execute": "device_add", "arguments": self.drives[name].device},
                      lambda answer: self._tell(answer.get("error", {}).get("desc", "ok")))
        elif verb == "unplug" and name in self.drives:
            self.leaving.add(name)
            self._ask({"execute": "device_del", "arguments": {"id": name}},
                      lambda answer: self._tell(answer["error"]["desc"])
                      if "error" in answer else None)
        else:
            self._tell("not understood: " + " ".join(words))
