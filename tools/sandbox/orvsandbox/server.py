"""Bootstrap: command line, the two servers, config and ready files, signals."""
from __future__ import annotations

import argparse
import json
import os
import signal
import ssl
import sys
import threading
from pathlib import Path
from typing import Any, Optional, Sequence

from .admin import AdminApi
from .harrier import HarrierService
from .httpcore import Router, ServiceServer
from .kestrel import KestrelService
from .phone import PhoneSimulator, format_identity
from .pki import SandboxPki, write_atomic
from .state import AutoApprove, SandboxState

DEFAULT_BASE_PATH = "/TolvaneServices/desktop"
CONFIG_NAME = "applicationConfig-2.properties"


class Sandbox:
    """Both services on loopback, with their shared state."""

    def __init__(self, state_dir: Path, kestrel_port: int = 0, harrier_port: int = 0,
                 base_path: str = DEFAULT_BASE_PATH, persist: bool = False,
                 auto_approve: Optional[AutoApprove] = None, catalogue_max_age: int = 300,
                 verbose: bool = False) -> None:
        if not base_path.rstrip("/").endswith("/desktop") or base_path.strip("/") == "desktop":
            raise ValueError("--base-path must be <prefix>/desktop, as the agent appends /desktop to its base name")
        self.state_dir = state_dir
        self.base_path = "/" + base_path.strip("/")
        state_dir.mkdir(parents=True, exist_ok=True)
        self.pki = SandboxPki(state_dir / "pki")
        self.pki.write_public_files()
        self.state = SandboxState.create(self.pki, state_dir / "state.json" if persist else None,
                                         catalogue_max_age)
        if persist:
            with self.state.lock:
                self.state.changed()
        if auto_approve is not None:
            self.state.auto_approve = auto_approve

        kestrel_routes = Router()
        KestrelService(self.state, self.base_path).register(kestrel_routes)
        PhoneSimulator(self.state).register(kestrel_routes)
        AdminApi(self.state, self.info).register(kestrel_routes)
        harrier_routes = Router()
        HarrierService(self.state).register(harrier_routes)

        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.minimum_version = ssl.TLSVersion.TLSv1_2
        context.load_cert_chain(str(self.pki.server_cert_path), str(self.pki.server_key_path))
        self.kestrel = ServiceServer("kestrel", kestrel_port, kestrel_routes, self.state, verbose=verbose)
        self.harrier = ServiceServer("harrier", harrier_port, harrier_routes, self.state, context, verbose)

    # -- addresses
    @property
    def kestrel_root(self) -> str:
        return f"http://127.0.0.1:{self.kestrel.port}"

    @property
    def harrier_host(self) -> str:
        return f"127.0.0.1:{self.harrier.port}"

    def info(self) -> dict[str, Any]:
        return {
            "pid": os.getpid(),
            "kestrel_port": self.kestrel.port,
            "harrier_port": self.harrier.port,
            "kestrel_root": self.kestrel_root,
            "kestrel_url": self.kestrel_root + self.base_path,
            "base_path": self.base_path,
            "harrier_host": self.harrier_host,
            "harrier_url": f"https://{self.harrier_host}",
            "phone_url": self.kestrel_root + "/phone",
            "admin_url": self.kestrel_root + "/admin",
            "tls_ca": str(self.pki.tls_ca_path),
            "icp_ca_chain": str(self.pki.icp_chain_path),
            "config_file": str(self.state_dir / CONFIG_NAME),
            "state_dir": str(self.state_dir),
        }

    def properties_text(self) -> str:
        base_name = self.base_path[: -len("/desktop")]
        return ("# Orvane sandbox services (tools/sandbox); written at start, do not edit\n"
                f"brantis.url = {self.kestrel_root}\n"
                f"brantis.base.name = {base_name}\n"
                f"harrier.url = {self.harrier_host}\n")

    def write_config(self, extra_path: Optional[Path]) -> None:
        text = self.properties_text().encode("utf-8")
        write_atomic(self.state_dir / CONFIG_NAME, text, 0o644)
        if extra_path is not None:
            write_atomic(extra_path, text, 0o644)

    # -- life
    def start(self) -> None:
        self.kestrel.start()
        self.harrier.start()

    def stop(self) -> None:
        for server in (self.kestrel, self.harrier):
            server.shutdown()
            server.server_close()


def summary(sandbox: Sandbox) -> str:
    info = sandbox.info()
    lines = [
        "Sandbox Orvane no ar",
        f"  Kestrel (http):   {info['kestrel_url']}",
        f"  Harrier (https):  {info['harrier_url']}   (AC TLS: {info['tls_ca']})",
        f"  Celulares:        {info['phone_url']}",
        f"  Admin (JSON):     {info['admin_url']}",
        f"  Configuração:     {info['config_file']}",
        "",
        "Identidades [celulares] e como procurá-las:",
    ]
    with sandbox.state.lock:
        for identity in sandbox.state.identities.values():
            phones = ", ".join(d.name for d in sandbox.state.identity_devices(identity))
            lines.append(f"  {identity.display_name}  [{phones}]")
            for hierarchy, code in identity.lookups:
                lines.append(f"      {format_identity(sandbox.state.hierarchies, hierarchy, code)}")
        lines += ["", "Contas na nuvem (e-mail / senha / organização / OTP / PIN por chave):"]
        for account in sandbox.state.accounts.values():
            pins = ", ".join(k.pin for k in account.wallet) or "carteira vazia"
            lines.append(f"  {account.email} / {account.password} / {account.access_url} / "
                         f"{account.otp} / {pins}")
    return "\n".join(lines)


def parse_args(argv: Sequence[str]) -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="orvane_sandbox.py",
        description="Local Kestrel (http) and Harrier (https) services with a phone simulator.")
    parser.add_argument("--state-dir", required=True, type=Path,
                        help="keys, certificates, generated config and (with --persist) state.json")
    parser.add_argument("--kestrel-port", type=int, default=0, help="HTTP port of Kestrel, phone page and admin (0: free port)")
    parser.add_argument("--harrier-port", type=int, default=0, help="HTTPS port of Harrier (0: free port)")
    parser.add_argument("--base-path", default=DEFAULT_BASE_PATH, help="Kestrel base path, ending in /desktop")
    parser.add_argument("--config-out", type=Path, help="also write applicationConfig-2.properties here")
    approve = parser.add_mutually_exclusive_group()
    approve.add_argument("--auto-approve-after-polls", type=int, metavar="N",
                         help="phones approve a request by themselves at the N-th poll of it")
    approve.add_argument("--auto-approve-ms", type=int, metavar="MS",
                         help="phones approve a request by themselves MS milliseconds after it was made")
    parser.add_argument("--catalogue-max-age", type=int, default=300, metavar="SECONDS",
                        help="max-age of /listHierarchies answers")
    parser.add_argument("--persist", action="store_true", help="keep state in <state-dir>/state.json")
    parser.add_argument("--ready-file", type=Path, help="JSON with ports and URLs, written once listening")
    parser.add_argument("--quiet", action="store_true", help="no summary on start")
    parser.add_argument("--verbose", action="store_true", help="log every request to standard error")
    return parser.parse_args(argv)


def main(argv: Optional[Sequence[str]] = None) -> int:
    args = parse_args(sys.argv[1:] if argv is None else argv)
    auto = None
    if args.auto_approve_after_polls is not None or args.auto_approve_ms is not None:
        auto = AutoApprove(args.auto_approve_after_polls, args.auto_approve_ms)
    try:
        sandbox = Sandbox(args.state_dir.resolve(), args.kestrel_port, args.harrier_port, args.base_path,
                          args.persist, auto, args.catalogue_max_age, args.verbose)
    except (ValueError, OSError) as exc:
        print(f"orvane_sandbox: {exc}", file=sys.stderr)
        return 2
    stop = threading.Event()

    def on_signal(signum: int, frame: Any) -> None:
        stop.set()
    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)

    sandbox.write_config(args.config_out)
    sandbox.start()
    if args.ready_file is not None:
        write_atomic(args.ready_file, json.dumps(sandbox.info(), indent=2).encode("utf-8"), 0o644)
    if not args.quiet:
        print(summary(sandbox), flush=True)
    try:
        while not stop.wait(0.5):
            pass
    finally:
        sandbox.stop()
        if args.ready_file is not None:
            try:
                args.ready_file.unlink()
            except FileNotFoundError:
                pass
    return 0
