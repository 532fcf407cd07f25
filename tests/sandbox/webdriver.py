"""A small W3C WebDriver client over urllib, for headless Chromium through chromedriver."""
from __future__ import annotations

import base64
import json
import shutil
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request
from typing import Any, Optional

CHROMIUM = "/usr/bin/chromium"
CHROMEDRIVER = "/usr/bin/chromedriver"
ELEMENT_KEY = "element-6066-11e4-a52e-4f735466cecf"


class WebDriverError(Exception):
    pass


def free_port() -> int:
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return int(probe.getsockname()[1])


class Browser:
    """One chromedriver process and one headless Chromium session."""

    def __init__(self, width: int = 1300, height: int = 900) -> None:
        self.profile = tempfile.mkdtemp(prefix="orvane-chromium-")
        self.port = free_port()
        self.driver = subprocess.Popen([CHROMEDRIVER, f"--port={self.port}"],
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.base = f"http://127.0.0.1:{self.port}"
        self.session = ""
        try:
            self._wait_for_driver()
            args = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                    "--disable-background-networking", "--disable-component-update", "--disable-sync",
                    "--disable-dev-shm-usage", f"--user-data-dir={self.profile}",
                    f"--window-size={width},{height}"]
            reply = self._call("POST", "/session", {"capabilities": {"alwaysMatch": {
                "browserName": "chrome", "goog:chromeOptions": {"binary": CHROMIUM, "args": args}}}})
            self.session = reply["sessionId"]
        except BaseException:
            self.close()
            raise

    def _wait_for_driver(self) -> None:
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            try:
                if self._call("GET", "/status", timeout=2).get("ready"):
                    return
            except (OSError, WebDriverError):
                pass
            if self.driver.poll() is not None:
                raise WebDriverError("chromedriver exited")
            time.sleep(0.1)
        raise WebDriverError("chromedriver did not start")

    def _call(self, method: str, path: str, body: Any = None, timeout: float = 60) -> Any:
        data = json.dumps(body).encode() if body is not None else (b"{}" if method == "POST" else None)
        request = urllib.request.Request(self.base + path, data=data, method=method,
                                         headers={"Content-Type": "application/json"})
        try:
            with urllib.request.urlopen(request, timeout=timeout) as reply:
                payload = json.loads(reply.read() or b"{}")
        except urllib.error.HTTPError as error:
            payload = json.loads(error.read() or b"{}")
            raise WebDriverError(f"{method} {path}: {payload.get('value', payload)}") from None
        return payload.get("value")

    def _session(self, method: str, path: str, body: Any = None) -> Any:
        return self._call(method, f"/session/{self.session}{path}", body)

    def get(self, url: str) -> None:
        self._session("POST", "/url", {"url": url})

    def find(self, css: str) -> Optional[str]:
        """The element id of the first match, or None."""
        found = self._session("POST", "/elements", {"using": "css selector", "value": css})
        return found[0][ELEMENT_KEY] if found else None

    def wait_for(self, css: str, timeout: float = 15.0) -> str:
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            element = self.find(css)
            if element:
                return element
            time.sleep(0.1)
        raise WebDriverError(f"no element {css!r} after {timeout} s")

    def click(self, element: str) -> None:
        self._session("POST", f"/element/{element}/click")

    def text(self, element: str) -> str:
        return str(self._session("GET", f"/element/{element}/text"))

    def screenshot(self) -> bytes:
        return base64.b64decode(self._session("GET", "/screenshot"))

    def close(self) -> None:
        if self.session:
            try:
                self._call("DELETE", f"/session/{self.session}", timeout=15)
            except (OSError, WebDriverError):
                pass
            self.session = ""
        if self.driver.poll() is None:
            self.driver.terminate()
            try:
                self.driver.wait(timeout=10)
            except subprocess.TimeoutExpired:
                self.driver.kill()
                self.driver.wait(timeout=5)
        shutil.rmtree(self.profile, ignore_errors=True)
