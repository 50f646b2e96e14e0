"""A stand-in for clamd that can be gone and come back on its port."""

import socket
import struct
import threading

NEEDLE = b"ANTIVIRUS-TEST"


class Daemon:
    def __init__(self):
        self.port = 0
        self.lock = threading.Lock()
        self.come_back()

    def come_back(self):
        self.links = set()
        self.listener = socket.socket()
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind(("127.0.0.1", self.port))
        self.listener.listen(128)
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self._accept, args=(self.listener,), daemon=True).start()

    def leave(self):
        """Closes the port and breaks all connections."""
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        with self.lock:
            links, self.links = self.links, None
        for link in links:
            try:
                link.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def _accept(self, listener):
        while True:
            try:
                link, _ = listener.accept()
            except OSError:
                return
            with self.lock:
                if self.links is None:
                    link.close()
                    return
                self.links.add(link)
            threading.Thread(target=self._serve, args=(link,), daemon=True).start()

    def _serve(self, link):
        try:
            with link, link.makefile("rb") as stream:
                self._converse(link, stream)
        except OSError:
            pass
        with self.lock:
            if self.links is not None:
                self.links.discard(link)

    @staticmethod
    def _converse(link, stream):
        number = 0
        in_session = False
        while True:
            command = b""
            while not command.endswith(b"\0"):
                byte = stream.read(1)
                if not byte:
                    return
                command += byte
            if command == b"zIDSESSION\0":
                in_session = True
                continue
            number += 1
            heading = b"%d: " % number if in_session else b""
            if command == b"zVERSION\0":
                link.sendall(heading + b"ClamAV 1.0\0")
            elif command == b"zINSTREAM\0":
                tail, found = b"", False
                while True:
                    head = stream.read(4)
                    if len(head) < 4:
                        return
                    size = struct.unpack(">I", head)[0]
                    if size == 0:
                        break
                    data = tail + stream.read(size)
                    found = found or NEEDLE in data
                    tail = data[-len(NEEDLE):]
                link.sendall(heading + (b"stream: Soak.Test FOUND\0" if found else b"stream: OK\0"))
            else:
                return
            if not in_session:
                return
