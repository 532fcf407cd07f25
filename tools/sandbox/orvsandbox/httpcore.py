"""HTTP(S) server, routing and fault injection.

Each service runs one ``ServiceServer`` on loopback. Requests are matched
against a route table of (method, regular expression, handler); a handler gets
a ``Request`` and returns a ``Response``. Before a service route runs, the
admin-planned faults for its path are applied: delay, a forced status, a body
that is not JSON, or a dropped connection.
"""
from __future__ import annotations

import json
import re
import socket
import ssl
import sys
import threading
import time
from dataclasses import dataclass, field
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from typing import Any, Callable, Optional
from urllib.parse import parse_qs, unquote, urlsplit

from .state import SandboxState
from .wire import WireError, http_date, to_json_text

MAX_BODY = 16 * 1024 * 1024
GARBAGE_BODY = b"<html><body>Erro interno do servidor \x00\xff\xfe</body>"


@dataclass
class Request:
    method: str
    path: str
    query: dict[str, list[str]]
    headers: Any
    body: bytes
    match: Optional[re.Match[str]] = None

    def header(self, name: str) -> Optional[str]:
        return self.headers.get(name)

    def group(self, name: str) -> str:
        assert self.match is not None
        return unquote(self.match.group(name))

    def json_body(self) -> Any:
        if not self.body.strip():
            return {}
        try:
            return json.loads(self.body.decode("utf-8"))
        except (UnicodeDecodeError, ValueError) as exc:
            raise WireError(400, f"JSON inválido: {exc}") from exc


@dataclass
class Response:
    status: int
    body: bytes = b""
    content_type: str = "application/json; charset=utf-8"
    headers: list[tuple[str, str]] = field(default_factory=list)
    drop: bool = False

    @staticmethod
    def json(status: int, value: Any, *, last_modified: Optional[int] = None,
             extra: Optional[list[tuple[str, str]]] = None) -> "Response":
        headers = list(extra or [])
        if last_modified is not None:
            headers.append(("Last-Modified", http_date(last_modified)))
        return Response(status, to_json_text(value).encode("utf-8"), headers=headers)

    @staticmethod
    def not_modified(last_modified: int, extra: Optional[list[tuple[str, str]]] = None) -> "Response":
        return Response(304, b"", content_type="", headers=[("Last-Modified", http_date(last_modified)),
                                                            *(extra or [])])

    @staticmethod
    def error(status: int, message: str) -> "Response":
        return Response.json(status, {"message": message})


Handler = Callable[[Request], Response]


@dataclass
class Route:
    method: str
    pattern: re.Pattern[str]
    handler: Handler
    faultable: bool = True


class Router:
    def __init__(self) -> None:
        self.routes: list[Route] = []

    def add(self, method: str, pattern: str, handler: Handler, faultable: bool = True) -> None:
        self.routes.append(Route(method, re.compile(pattern), handler, faultable))

    def resolve(self, method: str, path: str) -> tuple[Optional[Route], Optional[re.Match[str]], bool]:
        """The route, its match, and whether the path exists under another method."""
        other_method = False
        for route in self.routes:
            match = route.pattern.fullmatch(path)
            if match is None:
                continue
            if route.method == method:
                return route, match, False
            other_method = True
        return None, None, other_method


class ServiceServer(ThreadingHTTPServer):
    daemon_threads = True
    block_on_close = False
    allow_reuse_address = True

    def __init__(self, name: str, port: int, router: Router, state: SandboxState,
                 ssl_context: Optional[ssl.SSLContext] = None, verbose: bool = False) -> None:
        self.name = name
        self.router = router
        self.state = state
        self.ssl_context = ssl_context
        self.verbose = verbose
        super().__init__(("127.0.0.1", port), RequestHandler)

    @property
    def port(self) -> int:
        return int(self.server_address[1])

    def finish_request(self, request: Any, client_address: Any) -> None:
        # TLS handshake on the connection's own thread, so a slow client cannot
        # hold up the accepting loop.
        if self.ssl_context is not None:
            try:
                request.settimeout(30)
                request = self.ssl_context.wrap_socket(request, server_side=True)
            except (ssl.SSLError, OSError) as exc:
                if self.verbose:
                    print(f"[{self.name}] TLS handshake failed: {exc}", file=sys.stderr)
                return
        super().finish_request(request, client_address)

    def start(self) -> threading.Thread:
        thread = threading.Thread(target=self.serve_forever, name=f"{self.name}-server",
                                  kwargs={"poll_interval": 0.2}, daemon=True)
        thread.start()
        return thread


class RequestHandler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "OrvaneSandbox/1.0"
    timeout = 60
    server: ServiceServer

    def do_GET(self) -> None:
        self._dispatch("GET")

    def do_POST(self) -> None:
        self._dispatch("POST")

    def do_DELETE(self) -> None:
        self._dispatch("DELETE")

    def do_PUT(self) -> None:
        self._dispatch("PUT")

    def log_message(self, format: str, *args: Any) -> None:  # noqa: A002 - base class signature
        if self.server.verbose:
            print(f"[{self.server.name}] {self.address_string()} {format % args}", file=sys.stderr)

    def _read_body(self) -> bytes:
        if "chunked" in (self.headers.get("Transfer-Encoding") or "").lower():
            chunks = bytearray()
            while True:
                size_line = self.rfile.readline(1024)
                size = int(size_line.split(b";")[0].strip() or b"0", 16)
                if size == 0:
                    while self.rfile.readline(1024) not in (b"\r\n", b"\n", b""):
                        pass
                    return bytes(chunks)
                chunks += self.rfile.read(size)
                self.rfile.readline(1024)
                if len(chunks) > MAX_BODY:
                    raise WireError(413, "corpo grande demais")
        length = int(self.headers.get("Content-Length") or 0)
        if length > MAX_BODY:
            raise WireError(413, "corpo grande demais")
        return self.rfile.read(length) if length > 0 else b""

    def _dispatch(self, method: str) -> None:
        split = urlsplit(self.path)
        path = split.path
        try:
            body = self._read_body()
        except (WireError, ValueError) as exc:
            self._send(Response.error(getattr(exc, "status", 400), str(exc)))
            return
        route, match, other_method = self.server.router.resolve(method, path)
        if route is None:
            response = (Response.error(405, f"Método {method} não permitido") if other_method
                        else Response.error(404, f"Caminho desconhecido: {path}"))
            self._finish(path, response)
            return
        if route.faultable:
            fault = self.server.state.take_fault(path)
            if fault is not None:
                if fault.delay_ms > 0:
                    time.sleep(fault.delay_ms / 1000.0)
                if fault.drop:
                    self._finish(path, Response(0, drop=True), note="fault: drop")
                    return
                if fault.garbage:
                    self._finish(path, Response(200, GARBAGE_BODY, content_type="text/html"), note="fault: garbage")
                    return
                if fault.status is not None:
                    body = fault.body if fault.body is not None else {
                        "message": f"Falha simulada pelo sandbox (HTTP {fault.status})"}
                    self._finish(path, Response.json(fault.status, body), note="fault: status")
                    return
        request = Request(method, path, parse_qs(split.query), self.headers, body, match)
        try:
            response = route.handler(request)
        except WireError as exc:
            response = Response.error(exc.status, exc.message)
        except Exception as exc:  # the sandbox answers 500 and keeps running
            import traceback
            traceback.print_exc()
            response = Response.error(500, f"Erro interno do sandbox: {exc}")
        self._finish(path, response)

    def _finish(self, path: str, response: Response, note: str = "") -> None:
        self.server.state.record_call(self.server.name, path, response.status, note)
        self._send(response)

    def _send(self, response: Response) -> None:
        if response.drop:
            self.close_connection = True
            try:
                self.connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            return
        self.send_response(response.status)
        for name, value in response.headers:
            self.send_header(name, value)
        if response.status == 304:
            self.end_headers()
            return
        if response.content_type:
            self.send_header("Content-Type", response.content_type)
        self.send_header("Content-Length", str(len(response.body)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(response.body)
