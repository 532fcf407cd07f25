#!/usr/bin/python3
"""Writes a PNG of the sandbox phone page, taken by headless Chromium.

    /usr/bin/python3 tools/sandbox/screenshot_phone.py --out /tmp/phone.png
        starts a sandbox of its own (temporary state, or --state-dir to reuse
        generated keys), puts an authorisation and a signature request on the
        phones, and photographs the page;

    /usr/bin/python3 tools/sandbox/screenshot_phone.py --out /tmp/phone.png --url http://127.0.0.1:PORT/phone
        photographs the page of a sandbox that is already running.
"""
from __future__ import annotations

import argparse
import base64
import hashlib
import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from orvsandbox.pki import public_key_pem  # noqa: E402
from orvsandbox.server import Sandbox  # noqa: E402
from orvsandbox.state import KestrelInstallation, new_code, next_mark  # noqa: E402

CHROMIUM = "/usr/bin/chromium"


def stage_requests(sandbox: Sandbox) -> str:
    """An enrolled computer asking Ana's first phone for an authorisation and a signature."""
    state = sandbox.state
    with state.lock:
        installation = KestrelInstallation(
            code=new_code(), public_key=public_key_pem(sandbox.pki.server.key),
            installation_name="PC-FINANCEIRO", operating_system="Debian GNU/Linux 12",
            user_name="ana", domain_name="ESCRITORIO", created=int(time.time()), devices_mark=next_mark(0))
        state.installations[installation.code] = installation
        identity = state.identities["ana"]
        first, second = state.identity_devices(identity)[:2]
        state.new_request("A", first, installation, hierarchy="CPF", identity_code=identity.lookups[0][1])
        state.pair_device(installation, second.code)
        digest = base64.b64encode(hashlib.sha256(b"contrato de exemplo").digest()).decode()
        state.new_request("S", second, installation, hash_algorithm="SHA256", hash_content=digest,
                          key_name=second.keys[0].key_name)
    return sandbox.info()["phone_url"]


def screenshot(url: str, out: Path, width: int, height: int) -> None:
    profile = tempfile.mkdtemp(prefix="orvane-chromium-")
    try:
        command = [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                   "--disable-background-networking", "--disable-component-update", "--disable-sync",
                   "--disable-dev-shm-usage", "--hide-scrollbars", f"--user-data-dir={profile}",
                   f"--window-size={width},{height}", "--virtual-time-budget=3000",
                   f"--screenshot={out}", url]
        subprocess.run(command, check=True, timeout=60, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    finally:
        shutil.rmtree(profile, ignore_errors=True)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", type=Path, required=True, help="PNG file to write")
    parser.add_argument("--url", help="phone page of a running sandbox (loopback)")
    parser.add_argument("--state-dir", type=Path, help="state directory for the sandbox this script starts")
    parser.add_argument("--width", type=int, default=1300)
    parser.add_argument("--height", type=int, default=900)
    args = parser.parse_args()
    if not os.path.exists(CHROMIUM):
        print(f"{CHROMIUM} is missing", file=sys.stderr)
        return 2
    out = args.out.resolve()
    if args.url:
        if not args.url.startswith(("http://127.0.0.1:", "http://localhost:", "http://[::1]:")):
            print("only loopback URLs", file=sys.stderr)
            return 2
        screenshot(args.url, out, args.width, args.height)
    else:
        scratch = None if args.state_dir else tempfile.mkdtemp(prefix="orvane-sandbox-shot-")
        sandbox = Sandbox(Path(args.state_dir or scratch))
        sandbox.start()
        try:
            screenshot(stage_requests(sandbox), out, args.width, args.height)
        finally:
            sandbox.stop()
            if scratch:
                shutil.rmtree(scratch, ignore_errors=True)
    print(out)
    return 0


if __name__ == "__main__":
    sys.exit(main())
