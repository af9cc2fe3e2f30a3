"""A Browser is Chromium without a window, driven over WebDriver by Python's standard library."""

import base64
import ctypes
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

# The machine may be busy.
TIMEOUT = 120
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
OPTIONS = [
    "--headless=new",
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--no-proxy-server",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--hide-scrollbars",
]


def die_with_parent():
    """For the child before it starts: a test that is killed leaves nothing behind."""
    ctypes.CDLL(None).prctl(1, signal.SIGTERM)  # PR_SET_PDEATHSIG


class Browser:
    """Loads pages, and says what they asked for and complained of."""

    def __init__(self, width=1200, height=900):
        self._profile = tempfile.mkdtemp()
        self._driver = subprocess.Popen(
            ["chromedriver", "--port=0"],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            preexec_fn=die_with_parent,
        )
        self._session = ""
        try:
            self._base = f"http://127.0.0.1:{self._port()}"
            self._session = "/session/" + self._start(width, height)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def close(self):
        if self._session:
            self._ask("DELETE", "")
        self._driver.terminate()
        self._driver.communicate()
        shutil.rmtree(self._profile, ignore_errors=True)

    def _port(self):
        for line in self._driver.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                return found[1]
        raise RuntimeError("chromedriver did not start")

    def _start(self, width, height):
        options = OPTIONS + [
            f"--user-data-dir={self._profile}",
            f"--window-size={width},{height}",
        ]
        if os.geteuid() == 0:
            options.append("--no-sandbox")
        wanted = {
            "browserName": "chrome",
            "goog:chromeOptions": {"binary": shutil.which("chromium"), "args": options},
            "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"},
        }
        body = {"capabilities": {"alwaysMatch": wanted}}
        return self._ask("POST", "/session", body)["sessionId"]

    def _ask(self, method, path, body=None):
        request = urllib.request.Request(
            self._base + self._session + path,
            method=method,
            data=None if body is None else json.dumps(body).encode(),
            headers={"Content-Type": "application/json"},
        )
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=TIMEOUT) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(error.read().decode()) from error

    def open(self, url):
        self._ask("POST", "/url", {"url": url})

    def run(self, script, *arguments):
        """What the body of a function returns that runs in the page."""
        return self._ask("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def wait_until(self, script):
        """Waits until the body of a function returns something true, and returns that."""
        end = time.monotonic() + TIMEOUT
        while time.monotonic() < end:
            value = self.run(script)
            if value:
                return value
            time.sleep(0.05)
        raise TimeoutError(script)

    def _element(self, selector):
        found = self._ask("POST", "/element", {"using": "css selector", "value": selector})
        return f"/element/{found[ELEMENT]}"

    def type(self, selector, text):
        self._ask("POST", self._element(selector) + "/value", {"text": text})

    def clear(self, selector):
        self._ask("POST", self._element(selector) + "/clear", {})

    def click(self, selector):
        self._ask("POST", self._element(selector) + "/click", {})

    def press(self, key):
        """A key by WebDriver's code for it, wherever the focus is."""
        strokes = [{"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]
        keyboard = {"type": "key", "id": "keyboard", "actions": strokes}
        self._ask("POST", "/actions", {"actions": [keyboard]})

    def resize(self, width, height):
        """The page's own width and height, however narrow."""
        metrics = {"width": width, "height": height, "deviceScaleFactor": 0, "mobile": False}
        self.command("Emulation.setDeviceMetricsOverride", metrics)

    def prefer(self, scheme):
        """The colours that a user prefers: "light" or "dark"."""
        wanted = [{"name": "prefers-color-scheme", "value": scheme}]
        self.command("Emulation.setEmulatedMedia", {"features": wanted})

    def command(self, name, parameters):
        """One of Chromium's own."""
        return self._ask("POST", "/goog/cdp/execute", {"cmd": name, "params": parameters})

    def screenshot(self, file):
        with open(file, "wb") as stream:
            stream.write(base64.b64decode(self._ask("GET", "/screenshot")))

    def role_and_name(self, selector):
        """What is said of an element to those who do not see it."""
        element = self._element(selector)
        return self._ask("GET", element + "/computedrole"), self._ask("GET", element + "/computedlabel")

    def complaints(self):
        """The messages on the console since the last call."""
        return [entry["message"] for entry in self._ask("POST", "/se/log", {"type": "browser"})]

    def requests(self):
        """The addresses that pages asked for since the last call, but for the browser's own pages."""
        events = [
            json.loads(entry["message"])["message"]
            for entry in self._ask("POST", "/se/log", {"type": "performance"})
        ]
        return [
            event["params"]["request"]["url"]
            for event in events
            if event["method"] == "Network.requestWillBeSent"
            and not event["params"]["documentURL"].startswith("chrome://")
        ]


def main(url):
    """Opens a page that is to be in order; prints its title and its headings."""
    with Browser() as browser:
        browser.open(url)
        complaints = browser.complaints()
        if complaints:
            sys.exit("\n".join(complaints))
        print(browser.run("return document.title"))
        print(browser.run("return [...document.querySelectorAll('main')][0].innerText"))


if __name__ == "__main__":
    main(*sys.argv[1:])
