"""Wire forms shared by both services.

- JSON text as the agent writes it (tab indentation, members ascending by name),
  which the sandbox also uses for its own answers.
- The signed envelope ``{"contentData": <text>, "signature": <base64>}``.
- The flattened form of a request that a Harrier bearer signature covers.
- HTTP dates for ``Last-Modified`` / ``If-Modified-Since``.
"""
from __future__ import annotations

import base64
import binascii
import email.utils
import json
from typing import Any, Optional


class WireError(Exception):
    """A request that cannot be understood; carries the HTTP status to answer."""

    def __init__(self, status: int, message: str) -> None:
        super().__init__(message)
        self.status = status
        self.message = message


def to_json_text(value: Any) -> str:
    """JSON text in the style of the agent's writer: tabs, sorted members, UTF-8."""
    return json.dumps(value, indent="\t", sort_keys=True, ensure_ascii=False,
                      separators=(",", " : "))


def parse_json(body: bytes) -> Any:
    """Parses a request body; an unreadable body is a 400."""
    try:
        return json.loads(body.decode("utf-8"))
    except (UnicodeDecodeError, ValueError) as exc:
        raise WireError(400, f"JSON inválido: {exc}") from exc


def b64decode_strict(text: str) -> bytes:
    """Base64 with white-space tolerated and nothing else."""
    cleaned = "".join(text.split())
    try:
        return base64.b64decode(cleaned, validate=True)
    except (binascii.Error, ValueError) as exc:
        raise WireError(400, f"Base64 inválido: {exc}") from exc


def b64encode(data: bytes) -> str:
    return base64.b64encode(data).decode("ascii")


def open_envelope(body: bytes) -> tuple[str, bytes, Any]:
    """Splits a signed envelope into (contentData text, signature bytes, parsed content).

    The signature covers the UTF-8 bytes of ``contentData`` exactly as sent.
    """
    envelope = parse_json(body)
    if not isinstance(envelope, dict):
        raise WireError(400, "Envelope assinado esperado")
    content = envelope.get("contentData")
    signature = envelope.get("signature")
    if not isinstance(content, str) or not isinstance(signature, str):
        raise WireError(400, "Envelope sem contentData ou signature")
    signature_bytes = b64decode_strict(signature)
    try:
        document = json.loads(content)
    except ValueError as exc:
        raise WireError(400, f"contentData não é JSON: {exc}") from exc
    return content, signature_bytes, document


def flatten(value: Any) -> bytes:
    """The flattened form of a JSON value, as the bearer signature covers it.

    Objects: members in ascending name order; a string gives its value, a true
    boolean gives the member's name, false nothing, a number its value as a
    signed 64-bit integer in decimal, arrays and objects recurse, null nothing.
    """
    out = bytearray()
    _flatten_into(value, out, name=None)
    return bytes(out)


def _flatten_into(value: Any, out: bytearray, name: Optional[str]) -> None:
    if isinstance(value, dict):
        for key in sorted(value, key=lambda k: k.encode("utf-8")):
            _flatten_into(value[key], out, key)
    elif isinstance(value, list):
        for element in value:
            # Each element is flattened on its own; a scalar element has no
            # member name, so a boolean element adds nothing.
            _flatten_into(element, out, None)
    elif isinstance(value, bool):
        if value and name is not None:
            out += name.encode("utf-8")
    elif isinstance(value, int):
        out += str(_to_int64(value)).encode("ascii")
    elif isinstance(value, float):
        out += str(_to_int64(int(value))).encode("ascii")
    elif isinstance(value, str):
        out += value.encode("utf-8")


def _to_int64(value: int) -> int:
    return max(-(2 ** 63), min(2 ** 63 - 1, value))


def http_date(epoch_seconds: int) -> str:
    return email.utils.formatdate(epoch_seconds, usegmt=True)


def parse_http_date(text: Optional[str]) -> Optional[int]:
    """Seconds since the epoch of an HTTP date, or None when absent or unreadable."""
    if not text:
        return None
    try:
        parsed = email.utils.parsedate_to_datetime(text.strip())
    except (TypeError, ValueError, IndexError):
        return None
    if parsed is None:
        return None
    return int(parsed.timestamp())
