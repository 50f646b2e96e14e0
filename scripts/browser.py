"""Drives a browser through its debugging pipe, to see what a page displays and requests."""

import base64
import json
import os
import pathlib
import re
import select
import shutil
import socket
import subprocess
import sys
import threading
import time

BARE = "chromium-headless-shell"  # requests nothing of its own accord, but also ignores hints such as "preconnect"
WHOLE = "chromium"
LONGEST_WAIT = 120  # seconds for one answer


class Failure(Exception):
    pass


class Listener:
    """Counts the connections that arrive at a free loopback port. Every name of a host leads there."""

    def __init__(self):
        self.connections = 0
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                connection, _ = self.socket.accept()
            except OSError:
                return
            self.connections += 1
            connection.close()


class Browser:
    """A browser with one page. Its network log is in the folder `work`."""

    def __init__(self, work, program=BARE):
        self.program = program
        self.work = pathlib.Path(work)
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        self.listener = Listener()
        self.log = self.work / "network.json"
        self.process, self.input, self.output = self.start()
        self.received = b""
        self.number = 0
        self.events = []
        target = self.call("Target.createTarget", {"url": "about:blank"})["targetId"]
        self.page = self.call("Target.attachToTarget", {"targetId": target, "flatten": True})["sessionId"]
        for domain in ("Page", "Runtime", "Network", "DOM", "Accessibility"):
            self.ask(domain + ".enable")
        # Frames in processes of their own are watched as well.
        self.ask("Target.setAutoAttach", {"autoAttach": True, "waitForDebuggerOnStart": False, "flatten": True})

    def start(self):
        program = shutil.which(self.program)
        if program is None:
            raise Failure("no browser: install the package " + self.program)
        to_browser, mine = os.pipe()
        answers, from_browser = os.pipe()
        arguments = [program, "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                     "--host-resolver-rules=MAP * 127.0.0.1:%d" % self.listener.port,
                     "--log-net-log=%s" % self.log, "--net-log-capture-mode=Everything",
                     "--user-data-dir=%s" % (self.work / "profile"), "--remote-debugging-pipe", "about:blank"]
        if self.program == WHOLE:
            arguments[1:1] = ["--headless=new", "--no-first-run", "--enable-automation", "--disable-background-networking"]

        def place_pipes():
            reading, writing = os.dup(to_browser), os.dup(from_browser)
            os.dup2(reading, 3)
            os.dup2(writing, 4)

        process = subprocess.Popen(arguments, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, preexec_fn=place_pipes, close_fds=False)
        os.close(to_browser)
        os.close(from_browser)
        return process, mine, answers

    def call(self, method, parameters=None, session=None):
        """Sends a command and returns its result. Events that arrive meanwhile are kept."""
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters or {}}
        if session:
            message["sessionId"] = session
        data = json.dumps(message).encode() + b"\0"
        while data:
            data = data[os.write(self.input, data):]
        wanted = self.number
        answer = self.next_message(lambda received: received.get("id") == wanted)
        if "error" in answer:
            raise Failure("%s: %s" % (method, answer["error"]["message"]))
        return answer["result"]

    def ask(self, method, parameters=None):
        return self.call(method, parameters, self.page)

    def next_message(self, is_wanted):
        end = time.monotonic() + LONGEST_WAIT
        while True:
            while b"\0" in self.received:
                text, self.received = self.received.split(b"\0", 1)
                message = json.loads(text)
                if "method" in message:
                    self.events.append(message)
                if is_wanted(message):
                    return message
            ready, _, _ = select.select([self.output], [], [], max(0, end - time.monotonic()))
            piece = os.read(self.output, 1 << 20) if ready else b""
            if not piece:
                raise Failure("the browser does not answer")
            self.received += piece

    def wait_for(self, method):
        if not any(event["method"] == method for event in self.events):
            self.next_message(lambda message: message.get("method") == method)

    def open(self, url, width=1200, height=900, dark=False, media=""):
        """Opens a page, and waits until it and its frames are loaded and painted."""
        self.ask("Emulation.setDeviceMetricsOverride",
                 {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.ask("Emulation.setEmulatedMedia",
                 {"media": media, "features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
                                               {"name": "prefers-reduced-motion", "value": "reduce"}]})
        for address in ("about:blank", url):
            self.events = []
            self.ask("Page.navigate", {"url": address})
            self.wait_for("Page.loadEventFired")
        self.settle()

    def settle(self):
        """Waits for two frames to be painted, twice, so that frames in other processes are painted as well."""
        for _ in range(2):
            self.evaluate("new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => done(1))))")
            self.picture()

    def evaluate(self, expression):
        answer = self.ask("Runtime.evaluate", {"expression": expression, "returnByValue": True, "awaitPromise": True})
        if "exceptionDetails" in answer:
            raise Failure("%s: %s" % (expression, answer["exceptionDetails"]))
        return answer["result"].get("value")

    def picture(self, whole=False):
        """Returns a PNG of what is displayed, or of the whole page, which is then displayed."""
        if whole:
            width, height = self.evaluate("[innerWidth, document.documentElement.scrollHeight]")
            self.ask("Emulation.setDeviceMetricsOverride",
                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
            self.settle()
        answer = self.ask("Page.captureScreenshot", {"format": "png"})
        return base64.b64decode(answer["data"])

    def click(self, x, y):
        for kind in ("mousePressed", "mouseReleased"):
            self.ask("Input.dispatchMouseEvent", {"type": kind, "x": x, "y": y, "button": "left", "clickCount": 1})

    def requested(self):
        """Returns the addresses that the page requested since it was opened, as the page's process reports them."""
        return [event["params"]["request"]["url"] for event in self.events
                if event["method"] == "Network.requestWillBeSent"]

    def close(self):
        """Ends the browser. Returns what its network log contains of hosts: requests, look-ups and connections."""
        try:
            self.call("Browser.close")
        except Failure:
            pass
        os.close(self.input)
        os.close(self.output)
        try:
            self.process.wait(timeout=LONGEST_WAIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise Failure("the browser does not end")
        self.listener.socket.close()
        return events_of_hosts(self.log)


def events_of_hosts(log):
    """Returns a line for each event of a network log that names a host."""
    content = json.loads(log.read_text(encoding="utf-8"))
    names = {number: name for name, number in content["constants"]["logEventTypes"].items()}
    found = []
    for event in content["events"]:
        text = json.dumps(event.get("params", {}))
        hosts = re.findall(r"(?:https?|wss?|ftp)://[^\"\\ ]+|\"host\": \"[^\"]+\"", text)
        found += ["%s %s" % (names[event["type"]], host) for host in hosts]
    return found


if __name__ == "__main__":
    sys.exit("browser.py is a module")
