#!/usr/bin/env python3
"""Tests the scanning service with clients that others wrote: c-icap-client, and squid with pages of a local web server.

    clients_test.py SERVICE

SERVICE is the program. Everything listens on free ports of the loopback interface and ends with the test.
"""

import contextlib
import http.client
import http.server
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

SERVICE = None
PATIENCE = 60
# In pieces: a file that contains the whole text would be quarantined by scanners.
CONDEMNED = b"X5O!P%@AP[4\\PZX54(P^)7CC)7}$" + b"EICAR-STANDARD-ANTIVIRUS-TEST" + b"-FILE!$H+H*"
NOTICE = b"<!DOCTYPE html>"


def program(name, package):
    found = shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")
    if found is None:
        raise AssertionError(f"{name} is missing: install the package {package}")
    return found


@contextlib.contextmanager
def running(*arguments, **options):
    """A process that ends with the block."""
    process = subprocess.Popen([str(argument) for argument in arguments], stdin=subprocess.DEVNULL, **options)
    try:
        yield process
    finally:
        process.terminate()
        try:
            process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
        if process.stdout:
            process.stdout.close()


@contextlib.contextmanager
def service(*options):
    """A started service. Yields its port."""
    with running(SERVICE, "--port", "0", *options, stdout=subprocess.PIPE, text=True) as process:
        line = process.stdout.readline()
        if not line.startswith("listening on 127.0.0.1:"):
            raise AssertionError(f"the service does not listen: {line}")
        yield int(line.rpartition(":")[2])


class IcapClient(unittest.TestCase):
    """c-icap-client sends RESPMOD without the head of a request unless it is given a URL."""

    def setUp(self):
        self.client = program("c-icap-client", "c-icap")
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def ask(self, port, *options, content=None):
        """Returns what the client prints, and what it received in place of the object: None for a 204."""
        received = self.folder / "received"
        received.unlink(missing_ok=True)
        arguments = [self.client, "-i", "127.0.0.1", "-p", str(port), "-s", "webscan", "-v", "-o", str(received), *options]
        if content is not None:
            sent = self.folder / "sent"
            sent.write_bytes(content)
            arguments += ["-f", str(sent)]
        done = subprocess.run(arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=PATIENCE)
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout.decode(), received.read_bytes() if received.exists() else None

    def expect_verdicts(self, port, *options, comes_back=False):
        for size in (1, 100, 1024, 1025, 5000, 200000):
            said, received = self.ask(port, *options, content=b"x" * size)
            self.assertIn("ICAP/1.0 200" if comes_back else "ICAP/1.0 204", said, (options, size))
            self.assertEqual(received, b"x" * size if comes_back else None, (options, size))
        for ahead in (0, 1000, 200000):
            said, received = self.ask(port, *options, content=b"x" * ahead + CONDEMNED)
            self.assertIn("X-Infection-Found: Type=0;Resolution=2;Threat=EICAR-Test-File;", said, (options, ahead))
            self.assertTrue(received.startswith(NOTICE), (options, ahead))

    def test_options(self):
        with service("--preview", "1024") as port:
            said, _ = self.ask(port)
        self.assertIn("Allow 204: Yes", said)
        self.assertIn("Preview: 1024", said)
        self.assertIn("Methods: REQMOD, RESPMOD", said)

    def test_responses(self):
        with service("--preview", "1024") as port:
            self.expect_verdicts(port)
            self.expect_verdicts(port, "-resp", "http://host.example/a/file.bin")
            self.expect_verdicts(port, "-noreshdr")

    def test_requests(self):
        with service("--preview", "1024") as port:
            self.expect_verdicts(port, "-req", "http://host.example/form")
            self.expect_verdicts(port, "-method", "POST", "-req", "http://host.example/form")
            said, _ = self.ask(port, "-req", "http://host.example/page")
            self.assertIn("ICAP/1.0 204", said)

    def test_previews(self):
        for announced in ("0", "1024"):
            with service("--preview", announced) as port:
                for form in ((), ("-resp", "http://host.example/x"), ("-noreshdr",)):
                    for size in ("0", "10"):
                        self.expect_verdicts(port, *form, "-w", size)

    def test_without_previews(self):
        with service("--preview", "1024") as port:
            for form in ((), ("-resp", "http://host.example/x"), ("-req", "http://host.example/x"), ("-noreshdr",)):
                self.expect_verdicts(port, *form, "-nopreview")
                self.expect_verdicts(port, *form, "-nopreview", "-no204", comes_back=True)

    def test_headers_of_its_own(self):
        with service() as port:
            self.expect_verdicts(port, "-x", "X-Client-IP: 192.0.2.1", "-x", "X-Authenticated-User: TG9jYWw6Ly91c2Vy")


class Relay:
    """Passes bytes between clients and the service, and counts those of the clients."""

    def __init__(self, target):
        self.target = target
        self.passed = 0
        self.news = threading.Condition()
        self.sockets = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.threads = [threading.Thread(target=self.accept)]
        self.threads[0].start()

    def accept(self):
        with contextlib.suppress(OSError):
            while True:
                client, _ = self.listener.accept()
                server = socket.create_connection(("127.0.0.1", self.target))
                self.sockets += [client, server]
                for pair in ((client, server), (server, client)):
                    self.threads.append(threading.Thread(target=self.carry, args=(*pair, pair[0] is client)))
                    self.threads[-1].start()

    def carry(self, source, target, counted):
        with contextlib.suppress(OSError):
            while piece := source.recv(65536):
                target.sendall(piece)
                if counted:
                    with self.news:
                        self.passed += len(piece)
                        self.news.notify_all()
            target.shutdown(socket.SHUT_WR)

    def wait_for(self, count):
        """Waits until that many bytes of clients have been passed on."""
        with self.news:
            return self.news.wait_for(lambda: self.passed >= count, PATIENCE)

    def close(self):
        with contextlib.suppress(OSError):
            self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.threads[0].join()
        for used in self.sockets:
            with contextlib.suppress(OSError):
                used.shutdown(socket.SHUT_RDWR)
        for thread in self.threads[1:]:
            thread.join()
        for used in self.sockets:
            used.close()


class Pages(http.server.BaseHTTPRequestHandler):
    """A web server. The path is the kind of a page and its size, or where an upload is kept.

    Squid 5 keeps up to 65535 bytes of a page. It waits without end if this buffer becomes full before the bytes have
    been passed on, and discards those that were passed on only when at most two more have room. Pages are therefore
    sent in pieces of two bytes less, each when the relay has passed on the preceding one.
    """

    PIECE = 65533
    protocol_version = "HTTP/1.1"
    uploads = {}
    relay = None

    def pieces_of(self, content):
        for begin in range(0, len(content), self.PIECE):
            piece = content[begin:begin + self.PIECE]
            expected = self.relay.passed + len(piece)
            yield piece
            if len(piece) == self.PIECE and not self.relay.wait_for(expected):
                raise AssertionError("the proxy does not pass on what it received")

    def content(self):
        kind, _, size = self.path.strip("/").partition("/")
        return b"x" * int(size or 0) + (CONDEMNED if "condemned" in kind else b"")

    def do_GET(self, with_body=True):
        content = self.content()
        self.send_response(200)
        self.send_header("Content-Type", "application/octet-stream")
        if "chunked" in self.path:
            self.send_header("Transfer-Encoding", "chunked")
            self.end_headers()
            for piece in self.pieces_of(content):
                self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece))
            self.wfile.write(b"0\r\n\r\n")
            return
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        for piece in self.pieces_of(content if with_body else b""):
            self.wfile.write(piece)

    def do_HEAD(self):
        self.do_GET(with_body=False)

    def do_POST(self):
        if "chunked" in self.headers.get("Transfer-Encoding", ""):
            content = b""
            while size := int(self.rfile.readline().split(b";")[0], 16):
                content += self.rfile.read(size)
                self.rfile.readline()
            self.rfile.readline()
        else:
            content = self.rfile.read(int(self.headers["Content-Length"]))
        Pages.uploads[self.path] = content
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


@contextlib.contextmanager
def web_server():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Pages)
    thread = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.05})
    thread.start()
    try:
        yield server.server_address[1]
    finally:
        server.shutdown()
        thread.join()
        server.server_close()


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


SQUID = """
http_port 127.0.0.1:{port}
visible_hostname localhost
http_access allow all
cache deny all
cache_mem 8 MB
max_filedescriptors 1024
icp_port 0
pinger_enable off
netdb_filename none
coredump_dir none
pid_filename none
access_log none
cache_store_log none
cache_log {folder}/cache.log
logfile_rotate 0
shutdown_lifetime 0 seconds
memory_pools off
forwarded_for delete
icap_enable on
icap_preview_enable on
icap_service page respmod_precache bypass=off icap://127.0.0.1:{service}/webscan
icap_service upload reqmod_precache bypass=off icap://127.0.0.1:{service}/webscan
adaptation_access page allow all
adaptation_access upload allow all
"""


@contextlib.contextmanager
def squid(service_port):
    """A started proxy whose pages the service judges. Yields its port."""
    binary = program("squid", "squid")
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o777)  # the proxy gives up the rights of root
        port = free_port()
        settings = pathlib.Path(folder) / "squid.conf"
        settings.write_text(SQUID.format(port=port, service=service_port, folder=folder))
        settings.chmod(0o644)
        with running(binary, "-N", "-f", settings, "-d", "0", cwd=folder, stderr=subprocess.DEVNULL) as process:
            end = time.monotonic() + PATIENCE
            while True:
                with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port), 1):
                    break
                if process.poll() is not None or time.monotonic() > end:
                    log = pathlib.Path(folder, "cache.log")
                    raise AssertionError("squid does not listen: " + (log.read_text() if log.exists() else "no log"))
                time.sleep(0.05)
            yield port


class Proxy(unittest.TestCase):
    """Squid asks for pages and uploads with previews of the size that the service announces."""

    def exchange(self, method, path, body=None, **options):
        """Returns the status and the content of an answer through the proxy."""
        connection = http.client.HTTPConnection("127.0.0.1", self.proxy, timeout=PATIENCE)
        with contextlib.closing(connection):
            connection.request(method, f"http://127.0.0.1:{self.pages}{path}", body=body, **options)
            answer = connection.getresponse()
            return answer.status, answer.read(), answer

    @contextlib.contextmanager
    def desk(self, *options):
        with service(*options) as port, contextlib.closing(Relay(port)) as Pages.relay:
            with web_server() as self.pages, squid(Pages.relay.port) as self.proxy:
                yield

    def expect_verdicts(self):
        for size in (0, 1, 1023, 1024, 1025, 70000, 1000000):
            for kind in ("clean", "clean-chunked"):
                status, content, _ = self.exchange("GET", f"/{kind}/{size}")
                self.assertEqual((status, content), (200, b"x" * size), (kind, size))
            for kind in ("condemned", "condemned-chunked"):
                status, content, _ = self.exchange("GET", f"/{kind}/{size}")
                self.assertEqual(status, 200, (kind, size))
                self.assertTrue(content.startswith(NOTICE), (kind, size))
                self.assertNotIn(CONDEMNED, content)
                self.assertIn(b"EICAR-Test-File", content)
        _, content, answer = self.exchange("HEAD", "/clean/1234")
        self.assertEqual((content, answer.getheader("Content-Length")), (b"", "1234"))

    def expect_verdicts_of_uploads(self):
        Pages.uploads.clear()
        for size in (1, 1024, 70000):
            for name, form in (("whole", lambda content: content), ("chunked", lambda content: iter([content]))):
                clean = b"x" * size
                path = f"/{name}/{size}"
                status, _, _ = self.exchange("POST", path, form(clean))
                self.assertEqual((status, Pages.uploads.pop(path, None)), (204, clean), path)
                status, content, _ = self.exchange("POST", path, form(clean + CONDEMNED))
                self.assertTrue(content.startswith(NOTICE), (path, status, content[:200]))
                self.assertNotIn(path, Pages.uploads)

    def test_without_previews_of_content(self):
        with self.desk("--preview", "0"):
            self.expect_verdicts()
            self.expect_verdicts_of_uploads()

    def test_with_previews(self):
        with self.desk("--preview", "1024"):
            self.expect_verdicts()
            self.expect_verdicts_of_uploads()

    def test_a_page_that_cannot_be_judged_does_not_arrive(self):
        with self.desk("--engine", f"clamd:tcp:127.0.0.1:{free_port()}"):
            status, content, _ = self.exchange("GET", "/clean/100")
            self.assertEqual(status, 500)
            self.assertNotIn(b"x" * 100, content)


if __name__ == "__main__":
    SERVICE = sys.argv.pop(1)
    unittest.main(verbosity=2)
