"""Test harness: runs the sandbox as a child process and talks to it like the agent.

The agent side here is written on its own, with the wire rules of the agent
(JSON members ascending, tab indentation; RSA PKCS#1 v1.5 over SHA-256), so the
tests check the sandbox against the protocol and not against its own helpers.
"""
from __future__ import annotations

import atexit
import base64
import hashlib
import json
import os
import shutil
import signal
import ssl
import subprocess
import tempfile
import time
import urllib.error
import urllib.request
from pathlib import Path
from typing import Any, Optional

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding, rsa

REPO = Path(__file__).resolve().parents[2]
SANDBOX = REPO / "tools" / "sandbox" / "orvane_sandbox.py"
PYTHON = "/usr/bin/python3"
START_TIMEOUT = 90.0      # first start generates about twenty RSA keys
REQUEST_TIMEOUT = 15.0

_pki_cache: Optional[Path] = None


def _shared_pki_cache() -> Path:
    """A directory of generated keys shared by the sandboxes of one test process."""
    global _pki_cache
    if _pki_cache is None:
        _pki_cache = Path(tempfile.mkdtemp(prefix="orvane-sandbox-pki-"))
        atexit.register(shutil.rmtree, _pki_cache, True)
    return _pki_cache


class SandboxProcess:
    """One sandbox on free loopback ports, in a fresh state directory."""

    def __init__(self, *extra_args: str, state_dir: Optional[Path] = None) -> None:
        self.own_dir = state_dir is None
        self.state_dir = state_dir or Path(tempfile.mkdtemp(prefix="orvane-sandbox-test-"))
        self.extra_args = list(extra_args)
        self.process: Optional[subprocess.Popen[bytes]] = None
        self.info: dict[str, Any] = {}

    def start(self) -> "SandboxProcess":
        cache = _shared_pki_cache()
        pki_dir = self.state_dir / "pki"
        if (cache / "keys").exists() and not pki_dir.exists():
            shutil.copytree(cache, pki_dir)
        ready = self.state_dir / "ready.json"
        if ready.exists():
            ready.unlink()
        self.log = open(self.state_dir / "sandbox.log", "ab")
        self.process = subprocess.Popen(
            [PYTHON, str(SANDBOX), "--state-dir", str(self.state_dir), "--kestrel-port", "0",
             "--harrier-port", "0", "--ready-file", str(ready), "--quiet", *self.extra_args],
            stdout=self.log, stderr=subprocess.STDOUT)
        deadline = time.monotonic() + START_TIMEOUT
        while time.monotonic() < deadline:
            if ready.exists():
                self.info = json.loads(ready.read_text())
                break
            if self.process.poll() is not None:
                text = self.log_text()
                self.stop()
                raise RuntimeError(f"sandbox exited: {text}")
            time.sleep(0.05)
        else:
            self.stop()
            raise RuntimeError("sandbox did not become ready in time")
        if not (cache / "keys").exists():
            shutil.copytree(pki_dir, cache, dirs_exist_ok=True)
        return self

    def log_text(self) -> str:
        try:
            return (self.state_dir / "sandbox.log").read_text(errors="replace")
        except OSError:
            return ""

    def stop(self, remove: bool = True) -> int:
        code = 0
        if self.process is not None and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                code = self.process.wait(timeout=15)
            except subprocess.TimeoutExpired:
                self.process.kill()
                code = self.process.wait(timeout=5)
        elif self.process is not None:
            code = self.process.returncode
        self.process = None
        if getattr(self, "log", None) is not None:
            self.log.close()
            self.log = None
        if remove and self.own_dir:
            shutil.rmtree(self.state_dir, ignore_errors=True)
        return code

    # -- URLs
    @property
    def kestrel(self) -> str:
        return self.info["kestrel_url"]

    @property
    def admin(self) -> str:
        return self.info["admin_url"]

    @property
    def harrier(self) -> str:
        return self.info["harrier_url"]

    def tls_context(self) -> ssl.SSLContext:
        context = ssl.create_default_context(cafile=self.info["tls_ca"])
        return context

    # -- admin helpers
    def admin_get(self, path: str) -> Any:
        return http("GET", self.admin + path)[1]

    def admin_post(self, path: str, body: Any = None) -> tuple[int, Any]:
        status, value, _ = http("POST", self.admin + path, body if body is not None else {})
        return status, value


def json_text(value: Any) -> str:
    """JSON as the agent writes it."""
    return json.dumps(value, indent="\t", sort_keys=True, ensure_ascii=False, separators=(",", " : "))


def http(method: str, url: str, body: Any = None, headers: Optional[dict[str, str]] = None,
         raw: Optional[bytes] = None, context: Optional[ssl.SSLContext] = None) -> tuple[int, Any, Any]:
    """(status, parsed JSON body or raw bytes or None, headers). Loopback only."""
    assert url.startswith(("http://127.0.0.1:", "https://127.0.0.1:")), url
    data = raw if raw is not None else (json_text(body).encode("utf-8") if body is not None else None)
    request = urllib.request.Request(url, data=data, method=method)
    request.add_header("Accept", "application/json")
    if data is not None:
        request.add_header("Content-Type", "application/json")
    for name, value in (headers or {}).items():
        request.add_header(name, value)
    try:
        with urllib.request.urlopen(request, timeout=REQUEST_TIMEOUT, context=context) as reply:
            status, payload, reply_headers = reply.status, reply.read(), reply.headers
    except urllib.error.HTTPError as error:
        status, payload, reply_headers = error.code, error.read(), error.headers
    if not payload:
        return status, None, reply_headers
    try:
        return status, json.loads(payload.decode("utf-8")), reply_headers
    except (UnicodeDecodeError, ValueError):
        return status, payload, reply_headers


class Agent:
    """The desktop side: its key pair and the ways it posts documents."""

    def __init__(self, sandbox: SandboxProcess) -> None:
        self.sandbox = sandbox
        self.key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
        self.installation_code = ""
        self.desktop_code = ""

    @property
    def public_pem(self) -> str:
        return self.key.public_key().public_bytes(
            serialization.Encoding.PEM, serialization.PublicFormat.SubjectPublicKeyInfo).decode("ascii")

    def sign(self, data: bytes) -> str:
        return base64.b64encode(self.key.sign(data, padding.PKCS1v15(), hashes.SHA256())).decode("ascii")

    # Kestrel
    def create(self) -> Any:
        status, answer, _ = http("POST", self.sandbox.kestrel + "/create", {
            "domainName": "WORKGROUP", "installationName": "PC-TESTE", "operationalSystem": "Debian 12",
            "publicKey": self.public_pem, "userName": "teste"})
        assert status == 200, (status, answer)
        self.installation_code = answer["installationCode"]
        return answer

    def envelope(self, document: Any) -> bytes:
        content = json_text(document)
        return json_text({"contentData": content, "signature": self.sign(content.encode("utf-8"))}).encode()

    def signed(self, call: str, document: Any, if_modified_since: str = "",
               code: Optional[str] = None) -> tuple[int, Any, Any]:
        """Posts an envelope; a 2xx answer is unwrapped and its contentData parsed."""
        headers = {"If-Modified-Since": if_modified_since} if if_modified_since else {}
        url = f"{self.sandbox.kestrel}/{call}/{code or self.installation_code}"
        status, reply, reply_headers = http("POST", url, raw=self.envelope(document), headers=headers)
        if status // 100 == 2 and isinstance(reply, dict):
            return status, json.loads(reply["contentData"]), reply_headers
        return status, reply, reply_headers

    # Harrier
    def bearer(self, document: Any) -> str:
        return "Bearer " + self.sign(flatten(document))

    def harrier_post(self, path: str, document: Any, authorization: Optional[str] = None,
                     if_modified_since: str = "") -> tuple[int, Any, Any]:
        headers = {"Authorization": authorization if authorization is not None else self.bearer(document)}
        if if_modified_since:
            headers["If-Modified-Since"] = if_modified_since
        return http("POST", self.sandbox.harrier + path, document, headers=headers,
                    context=self.sandbox.tls_context())


def flatten(value: Any, name: Optional[str] = None) -> bytes:
    """The agent's flattened form of a request (what a bearer signature covers)."""
    if isinstance(value, dict):
        return b"".join(flatten(value[k], k) for k in sorted(value))
    if isinstance(value, list):
        return b"".join(flatten(v) for v in value)
    if isinstance(value, bool):
        return name.encode() if value and name else b""
    if isinstance(value, (int, float)):
        return str(int(value)).encode()
    if isinstance(value, str):
        return value.encode("utf-8")
    return b""


def now_millis() -> str:
    return str(int(time.time() * 1000))


def listing_hash() -> str:
    return base64.b64encode(hashlib.sha256(now_millis().encode()).digest()).decode()


def wait_until(predicate: Any, timeout: float = 10.0, interval: float = 0.05) -> Any:
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        result = predicate()
        if result:
            return result
        time.sleep(interval)
    return None


def chromium_available() -> bool:
    return os.path.exists("/usr/bin/chromium") and os.path.exists("/usr/bin/chromedriver")
