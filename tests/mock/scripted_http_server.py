#!/usr/bin/python3
"""A small HTTP(S) server for tests, run with the system Python: answers
from a script, records requests, loopback only; the port is written to
--port-file once it listens.

  serve --port-file F --record F [--script F] [--cert F --key F]
        [--verify-key F] [--proxy-auth USER:PASSWORD]
  certs DIR   (ca, good, expired, otherhost, selfsigned: .pem and .key)

Script: {"responses": [answer, ...]}, used in request order, the last one
repeating; an answer has status, headers ([[name, value]]), body, and may
cut the body in half (cut), close without answering (close), wait (delay,
seconds) or send no Content-Length (noLength). Each request is recorded as a
JSON line (method, path, headers, body, alpn over TLS); with --verify-key also
envelopeVerified / bearerVerified, checked with that RSA key (PKCS#1 v1.5,
SHA-256). With --proxy-auth a request without those Basic proxy credentials
is answered 407, as an insisting proxy would.
"""

import argparse
import base64
import datetime
import ipaddress
import json
import os
import socket
import ssl
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer


def flatten(value):
    """Object members by ascending name: strings as they are, true booleans
    as the member's name, numbers as 64-bit integers, arrays and objects
    recursively; nothing else, and nothing between the pieces."""
    out = []

    def walk(node):
        if isinstance(node, dict):
            for name in sorted(node.keys(), key=lambda n: n.encode("utf-8")):
                member = node[name]
                if isinstance(member, bool):
                    if member:
                        out.append(name)
                elif isinstance(member, str):
                    out.append(member)
                elif isinstance(member, (int, float)):
                    out.append(str(int(member)))
                elif isinstance(member, (list, dict)):
                    walk(member)
        elif isinstance(node, list):
            for element in node:
                walk(element)

    walk(value)
    return "".join(out).encode("utf-8")


def verify(public_key, signature_b64, data):
    from cryptography.exceptions import InvalidSignature
    from cryptography.hazmat.primitives import hashes
    from cryptography.hazmat.primitives.asymmetric import padding

    try:
        signature = base64.b64decode(signature_b64, validate=True)
        public_key.verify(signature, data, padding.PKCS1v15(), hashes.SHA256())
        return True
    except (InvalidSignature, ValueError):
        return False


class State:
    def __init__(self, responses, record_path, public_key, proxy_auth=None):
        self.proxy_auth = proxy_auth
        self.responses = responses or [{"status": 200, "body": "{}"}]
        self.record_path = record_path
        self.public_key = public_key
        self.count = 0
        self.lock = threading.Lock()

    def next_answer(self):
        with self.lock:
            answer = self.responses[min(self.count, len(self.responses) - 1)]
            self.count += 1
            return answer

    def record(self, entry):
        with self.lock:
            with open(self.record_path, "a", encoding="utf-8") as f:
                f.write(json.dumps(entry) + "\n")
                f.flush()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    state = None

    def log_message(self, fmt, *args):
        pass

    def handle_any(self):
        length = int(self.headers.get("Content-Length") or 0)
        body = self.rfile.read(length) if length > 0 else b""
        entry = {
            "method": self.command,
            "path": self.path,
            "headers": [[k, v] for k, v in self.headers.items()],
            "body": body.decode("utf-8", "replace"),
        }
        if hasattr(self.connection, "selected_alpn_protocol"):
            entry["alpn"] = self.connection.selected_alpn_protocol()
        key = self.state.public_key
        if key is not None:
            entry["envelopeVerified"] = None
            entry["bearerVerified"] = None
            try:
                document = json.loads(body.decode("utf-8"))
            except ValueError:
                document = None
            if isinstance(document, dict) and "contentData" in document and "signature" in document:
                entry["envelopeVerified"] = verify(
                    key, document["signature"], document["contentData"].encode("utf-8"))
            authorization = self.headers.get("Authorization") or ""
            if authorization.startswith("Bearer ") and document is not None:
                entry["bearerVerified"] = verify(key, authorization[len("Bearer "):], flatten(document))
        self.state.record(entry)

        if self.state.proxy_auth is not None:
            expected = "Basic " + base64.b64encode(self.state.proxy_auth.encode("utf-8")).decode("ascii")
            if self.headers.get("Proxy-Authorization") != expected:
                payload = b"proxy credentials wanted"
                self.send_response_only(407)
                self.send_header("Proxy-Authenticate", 'Basic realm="test proxy"')
                self.send_header("Content-Length", str(len(payload)))
                self.end_headers()
                self.wfile.write(payload)
                self.wfile.flush()
                return

        answer = self.state.next_answer()
        delay = min(float(answer.get("delay", 0)), 30.0)
        if delay > 0:
            time.sleep(delay)
        if answer.get("close"):
            self.close_connection = True
            self.connection.shutdown(socket.SHUT_RDWR)
            return
        payload = answer.get("body", "").encode("utf-8")
        self.send_response_only(int(answer.get("status", 200)))
        names = set()
        for name, value in answer.get("headers", []):
            names.add(name.lower())
            self.send_header(name, value)
        if answer.get("noLength"):
            self.send_header("Connection", "close")
            self.close_connection = True
        elif "content-length" not in names:
            self.send_header("Content-Length", str(len(payload)))
        self.end_headers()
        if answer.get("cut"):
            self.wfile.write(payload[: len(payload) // 2])
            self.wfile.flush()
            self.close_connection = True
            self.connection.shutdown(socket.SHUT_RDWR)
            return
        self.wfile.write(payload)
        self.wfile.flush()

    do_GET = handle_any
    do_POST = handle_any
    do_PUT = handle_any
    do_DELETE = handle_any


def serve(args):
    responses = []
    if args.script:
        with open(args.script, encoding="utf-8") as f:
            responses = json.load(f).get("responses", [])
    public_key = None
    if args.verify_key:
        from cryptography.hazmat.primitives.serialization import load_pem_public_key
        with open(args.verify_key, "rb") as f:
            public_key = load_pem_public_key(f.read())
    Handler.state = State(responses, args.record, public_key, args.proxy_auth)
    open(args.record, "a").close()

    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    if args.cert:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(args.cert, args.key)
        # Like most real servers, offer HTTP/2 first; this server only
        # speaks HTTP/1.1, so a client that takes h2 gets no answer.
        context.set_alpn_protocols(["h2", "http/1.1"])
        server.socket = context.wrap_socket(server.socket, server_side=True)
    port = server.server_address[1]
    temporary = args.port_file + ".part"
    with open(temporary, "w") as f:
        f.write(str(port))
    os.rename(temporary, args.port_file)
    server.serve_forever()


def make_certs(folder):
    from cryptography import x509
    from cryptography.hazmat.primitives import hashes, serialization
    from cryptography.hazmat.primitives.asymmetric import rsa
    from cryptography.x509.oid import NameOID

    now = datetime.datetime.now(datetime.timezone.utc)

    def key():
        return rsa.generate_private_key(public_exponent=65537, key_size=2048)

    def name(text):
        return x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, text)])

    def write(stem, cert, private_key):
        with open(os.path.join(folder, stem + ".pem"), "wb") as f:
            f.write(cert.public_bytes(serialization.Encoding.PEM))
        if private_key is not None:
            with open(os.path.join(folder, stem + ".key"), "wb") as f:
                f.write(private_key.private_bytes(
                    serialization.Encoding.PEM, serialization.PrivateFormat.TraditionalOpenSSL,
                    serialization.NoEncryption()))

    local_names = x509.SubjectAlternativeName(
        [x509.DNSName("localhost"), x509.IPAddress(ipaddress.ip_address("127.0.0.1"))])

    ca_key = key()
    ca = (x509.CertificateBuilder().subject_name(name("Orvane Test Authority"))
          .issuer_name(name("Orvane Test Authority")).public_key(ca_key.public_key())
          .serial_number(x509.random_serial_number())
          .not_valid_before(now - datetime.timedelta(days=1))
          .not_valid_after(now + datetime.timedelta(days=30))
          .add_extension(x509.BasicConstraints(ca=True, path_length=None), critical=True)
          .sign(ca_key, hashes.SHA256()))
    write("ca", ca, None)

    def leaf(stem, alt_names, before, after, self_signed=False):
        leaf_key = key()
        builder = (x509.CertificateBuilder().subject_name(name("127.0.0.1"))
                   .issuer_name(name("127.0.0.1") if self_signed else ca.subject)
                   .public_key(leaf_key.public_key()).serial_number(x509.random_serial_number())
                   .not_valid_before(before).not_valid_after(after)
                   .add_extension(alt_names, critical=False))
        cert = builder.sign(leaf_key if self_signed else ca_key, hashes.SHA256())
        write(stem, cert, leaf_key)

    leaf("good", local_names, now - datetime.timedelta(days=1), now + datetime.timedelta(days=30))
    leaf("expired", local_names, now - datetime.timedelta(days=30), now - datetime.timedelta(days=1))
    leaf("otherhost", x509.SubjectAlternativeName([x509.DNSName("other.invalid")]),
         now - datetime.timedelta(days=1), now + datetime.timedelta(days=30))
    leaf("selfsigned", local_names, now - datetime.timedelta(days=1), now + datetime.timedelta(days=30),
         self_signed=True)


def main():
    parser = argparse.ArgumentParser()
    sub = parser.add_subparsers(dest="command", required=True)
    s = sub.add_parser("serve")
    s.add_argument("--port-file", required=True)
    s.add_argument("--record", required=True)
    s.add_argument("--script")
    s.add_argument("--cert")
    s.add_argument("--key")
    s.add_argument("--verify-key")
    s.add_argument("--proxy-auth")
    c = sub.add_parser("certs")
    c.add_argument("folder")
    args = parser.parse_args()
    if args.command == "serve":
        serve(args)
    else:
        make_certs(args.folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
