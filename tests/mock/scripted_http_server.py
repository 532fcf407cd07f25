#!/usr/bin/python3
"""A small HTTP(S) server for tests, loopback only, run with the system Python.

  serve --port N --record F [--script F] [--cert F --key F]
        [--verify-key F] [--proxy-auth USER:PASSWORD]
  certs DIR   (ca, good, expired, otherhost, selfsigned: .pem and .key)

It answers from the script {"responses": [answer, ...]} in request order, the
last one repeating; an answer has status, headers ([[name, value]]), body, and
may cut the body in half (cut), close without answering (close) or wait (delay,
seconds). Each request is recorded as a JSON line; with --verify-key the
signatures are checked by the sandbox services' own rules. With --proxy-auth it
insists on those Basic proxy credentials with 407, as some proxies do.
"""

import argparse
import base64
import contextlib
import datetime
import ipaddress
import json
import socket
import ssl
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tools" / "sandbox"))
from orvsandbox import pki, wire  # noqa: E402


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    responses = []
    record_path = public_pem = proxy_auth = None
    count = 0
    lock = threading.Lock()

    def log_message(self, fmt, *args):
        pass

    def handle_any(self):
        length = int(self.headers.get("Content-Length") or 0)
        body = self.rfile.read(length) if length > 0 else b""
        headers = {name.lower(): value for name, value in reversed(self.headers.items())}
        entry = {"method": self.command, "path": self.path, "headers": headers,
                 "body": body.decode("utf-8", "replace")}
        if self.public_pem is not None:
            with contextlib.suppress(wire.WireError):
                content, signature, _ = wire.open_envelope(body)
                entry["envelopeVerified"] = pki.verify_signature(self.public_pem, content.encode(), signature)
            bearer = headers.get("authorization", "")
            with contextlib.suppress(wire.WireError):
                if bearer.startswith("Bearer "):
                    entry["bearerVerified"] = pki.verify_signature(
                        self.public_pem, wire.flatten(wire.parse_json(body)), wire.b64decode_strict(bearer[7:]))
        with Handler.lock:
            with open(self.record_path, "a", encoding="utf-8") as f:
                f.write(json.dumps(entry) + "\n")
            answer = self.responses[min(Handler.count, len(self.responses) - 1)]
            expected = "Basic " + base64.b64encode((self.proxy_auth or "").encode("utf-8")).decode("ascii")
            if self.proxy_auth is not None and headers.get("proxy-authorization") != expected:
                answer = {"status": 407, "body": "proxy credentials wanted",
                          "headers": [["Proxy-Authenticate", 'Basic realm="test proxy"']]}
            else:
                Handler.count += 1

        time.sleep(min(float(answer.get("delay", 0)), 30.0))
        if not answer.get("close"):
            payload = answer.get("body", "").encode("utf-8")
            self.send_response_only(int(answer.get("status", 200)))
            for name, value in answer.get("headers", []):
                self.send_header(name, value)
            self.send_header("Content-Length", str(len(payload)))
            self.end_headers()
            self.wfile.write(payload[: len(payload) // 2] if answer.get("cut") else payload)
            self.wfile.flush()
        if answer.get("close") or answer.get("cut"):
            self.close_connection = True
            self.connection.shutdown(socket.SHUT_RDWR)

    do_GET = do_POST = handle_any


def serve(args):
    if args.script:
        with open(args.script, encoding="utf-8") as f:
            Handler.responses = json.load(f).get("responses", [])
    Handler.responses = Handler.responses or [{"status": 200, "body": "{}"}]
    Handler.record_path = args.record
    Handler.proxy_auth = args.proxy_auth
    if args.verify_key:
        Handler.public_pem = Path(args.verify_key).read_text()
    open(args.record, "a").close()

    server = ThreadingHTTPServer(("127.0.0.1", int(args.port)), Handler)
    server.daemon_threads = True
    if args.cert:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(args.cert, args.key)
        # Like most real servers, offer HTTP/2 first; this server only
        # speaks HTTP/1.1, so a client that takes h2 gets no answer.
        context.set_alpn_protocols(["h2", "http/1.1"])
        server.socket = context.wrap_socket(server.socket, server_side=True)
    server.serve_forever()


def make_certs(folder):
    from cryptography import x509
    from cryptography.hazmat.primitives import hashes, serialization
    from cryptography.x509.oid import NameOID

    now = datetime.datetime.now(datetime.timezone.utc)
    local = [x509.DNSName("localhost"), x509.IPAddress(ipaddress.ip_address("127.0.0.1"))]
    ca_key = pki.new_key()
    ca_name = x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, "Orvane Test Authority")])
    # stem, subject alternative names, validity in days from now, signed by the authority
    for stem, names, days, by_ca in (("ca", None, (-1, 30), False), ("good", local, (-1, 30), True),
                                     ("expired", local, (-30, -1), True),
                                     ("otherhost", [x509.DNSName("other.invalid")], (-1, 30), True),
                                     ("selfsigned", local, (-1, 30), False)):
        key = ca_key if stem == "ca" else pki.new_key()
        subject = ca_name if stem == "ca" else x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, "127.0.0.1")])
        builder = (x509.CertificateBuilder().subject_name(subject).issuer_name(ca_name if by_ca else subject)
                   .public_key(key.public_key()).serial_number(x509.random_serial_number())
                   .not_valid_before(now + datetime.timedelta(days=days[0]))
                   .not_valid_after(now + datetime.timedelta(days=days[1])))
        if names is None:
            builder = builder.add_extension(x509.BasicConstraints(ca=True, path_length=None), critical=True)
        else:
            builder = builder.add_extension(x509.SubjectAlternativeName(names), critical=False)
        certificate = builder.sign(ca_key if by_ca else key, hashes.SHA256())
        Path(folder, stem + ".pem").write_bytes(certificate.public_bytes(serialization.Encoding.PEM))
        Path(folder, stem + ".key").write_bytes(pki.key_to_pem(key))


def main():
    if sys.argv[1:2] == ["certs"]:
        make_certs(sys.argv[2])
        return 0
    parser = argparse.ArgumentParser()
    parser.add_argument("command", choices=["serve"])
    for option in ("--script", "--cert", "--key", "--verify-key", "--proxy-auth"):
        parser.add_argument(option)
    parser.add_argument("--port", required=True)
    parser.add_argument("--record", required=True)
    serve(parser.parse_args())
    return 0


if __name__ == "__main__":
    sys.exit(main())
