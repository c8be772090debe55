"""A real browser without a window, spoken to over a pipe in the DevTools protocol."""

import base64
import json
import os
import select
import shutil
import subprocess
import time

FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage", "--hide-scrollbars", "--remote-debugging-pipe",
]  # fmt: skip


class Browser:
    """Chromium with one tab. Use it in a with statement."""

    def __init__(self, folder, width=1200, height=900):
        program = shutil.which("chromium") or shutil.which("chromium-browser")
        assert program, "chromium is not installed"
        command_end, self._commands = os.pipe()
        self._answers, answer_end = os.pipe()
        profile = folder / "browser"
        profile.mkdir()
        environment = {**os.environ, "HOME": str(profile)}
        # The browser reads from descriptor 3 and writes to 4; fresh numbers far above keep the two out of each other's way.
        os.dup2(command_end, 103, inheritable=True)
        os.dup2(answer_end, 104, inheritable=True)
        os.close(command_end)
        os.close(answer_end)
        self.process = subprocess.Popen(
            ["bash", "-c", 'exec "$@" 3<&103 4>&104 103<&- 104>&-', "browser", program, *FLAGS, f"--user-data-dir={profile}",
             "about:blank"],
            env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, pass_fds=(103, 104), start_new_session=True,
        )  # fmt: skip
        os.close(103)
        os.close(104)
        self._number = 0
        self._session = None
        self._buffer = b""
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(f"{domain}.enable")
        self.resize(width, height)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self._commands)
        os.close(self._answers)
        self.process.terminate()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    def call(self, method, **parameters):
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        answer = self._wait(lambda message: message.get("id") == self._number)
        assert "error" not in answer, (method, answer)
        return answer["result"]

    def _wait(self, wanted, seconds=120):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            while b"\0" in self._buffer:
                text, _, self._buffer = self._buffer.partition(b"\0")
                message = json.loads(text)
                if "method" in message:
                    self.events.append(message)
                if wanted(message):
                    return message
            if select.select([self._answers], [], [], 1)[0]:
                part = os.read(self._answers, 1 << 20)
                assert part, "the browser is gone"
                self._buffer += part
        raise AssertionError("the browser does not answer")

    def resize(self, width, height):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def prefer(self, scheme):
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def open(self, path, fragment=""):
        """Shows the page afresh, and waits until its pictures stand where they stay."""
        for url in ("about:blank", path.as_uri() + fragment):  # from the page itself a fragment would be a mere scroll
            self.events.clear()
            self.call("Page.navigate", url=url)
            if not any(event["method"] == "Page.loadEventFired" for event in self.events):
                self._wait(lambda message: message.get("method") == "Page.loadEventFired")
        self.value("Promise.allSettled([...document.images].map((image) => image.decode()))")
        self.settle()

    def settle(self):
        """Waits until what observes the sizes of elements has seen them: that comes with the next picture."""
        self.value("new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))")

    def value(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        assert "exceptionDetails" not in result, result
        return result["result"].get("value")

    def problems(self):
        """What the console complained of, and every request for something outside of the page."""
        found = []
        for event in self.events:
            name, parameters = event["method"], event["params"]
            if name == "Runtime.exceptionThrown" or (name == "Log.entryAdded" and parameters["entry"]["level"] == "error"):
                found.append(parameters)
            if name == "Network.requestWillBeSent" and parameters["request"]["url"].split(":")[0] not in ("file", "data"):
                found.append(parameters["request"]["url"])
        return found

    def key(self, name, text=""):
        for kind in ("keyDown", "keyUp"):
            codes = {"ArrowRight": 39, "ArrowLeft": 37, "ArrowDown": 40, "ArrowUp": 38, "Enter": 13, "Escape": 27, "Tab": 9}
            self.call("Input.dispatchKeyEvent", type=kind, key=name, code=name, windowsVirtualKeyCode=codes[name], text=text)

    def drag(self, start, end):
        """Presses at one place and lets go at the other."""
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=start[0], y=start[1])
        self.call("Input.dispatchMouseEvent", type="mousePressed", x=start[0], y=start[1], button="left", clickCount=1)
        for step in (0.25, 0.5, 0.75, 1):
            x, y = (start[i] + (end[i] - start[i]) * step for i in (0, 1))
            self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y, button="left", buttons=1)
        self.call("Input.dispatchMouseEvent", type="mouseReleased", x=end[0], y=end[1], button="left", clickCount=1)

    def screenshot(self, path, whole=False):
        shot = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=whole)
        path.write_bytes(base64.b64decode(shot["data"]))
