#!/usr/bin/python3
"""Lists the certificates of the user's Orvane certificate store that are
linked to a key provider, following docs/certificate-store.md and nothing
else (no code of the agent). Needs only the standard library and
python3-cryptography.

  linked_certificates.py [--store NAME] [--provider NAME] [--root FOLDER]

One line per linked entry, in the order of the walk (file names):
  FINGERPRINT <tab> CONTAINER-NAME <tab> PROVIDER-NAME <tab> SUBJECT
FINGERPRINT is the 40 lower-case digits of the SHA-1 of the certificate,
SUBJECT its subject name (RFC 4514). --provider keeps only the entries linked
to that provider ("Orvane Cryptographic Provider" for the agent's own);
--store names the store (MY unless given); --root is the store's top folder
(certstore) instead of the user's. Entries that cannot be read are passed
over, as the document tells every reader to do. Exit status 0, or 2 for a
command line not understood or a store folder that cannot be listed.
"""

import argparse
import hashlib
import os
import pwd
import re
import stat
import sys

from cryptography import x509
from cryptography.hazmat.primitives.serialization import Encoding

FIRST_LINE = "orvane-certificate-entry: 1"
STORES = ("MY", "AddressBook", "CA", "ROOT")
ENTRY_NAME = re.compile(r"^[0-9a-f]{40}\.entry$")
DECIMAL = re.compile(r"^[0-9]{1,10}$")
ESCAPE = re.compile(rb"%([0-9A-Fa-f]{2})")
LINK_NUMBERS = ("provider-type", "provider-flags", "key-spec")


def default_root():
    """certstore under the user's Orvane folder: XDG_DATA_HOME when it is an
    absolute path, else HOME/.local/share (HOME when absolute, else the home
    folder of the password database)."""
    data = os.environ.get("XDG_DATA_HOME", "")
    if not data.startswith("/"):
        home = os.environ.get("HOME", "")
        if not home.startswith("/"):
            home = pwd.getpwuid(os.geteuid()).pw_dir
        data = os.path.join(home, ".local", "share")
    return os.path.join(data, "Orvane", "certstore")


def unescape(value):
    """Header value bytes with %XX decoded, or None when a "%" is not
    followed by two hexadecimal digits."""
    if re.search(rb"%(?![0-9A-Fa-f]{2})", value):
        return None
    return ESCAPE.sub(lambda m: bytes([int(m.group(1), 16)]), value)


def read_entry(path, name):
    """The entry of one file as a dict, or None when the document says to
    pass it over."""
    try:
        fd = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
    except OSError:
        return None
    try:
        if not stat.S_ISREG(os.fstat(fd).st_mode):
            return None
        with os.fdopen(fd, "rb", closefd=False) as stream:
            content = stream.read()
    except OSError:
        return None
    finally:
        os.close(fd)

    head, separator, pem = content.partition(b"\n\n")
    lines = head.split(b"\n")
    if not separator or lines[0] != FIRST_LINE.encode():
        return None
    raw_headers = {}
    for line in lines[1:]:
        header, colon, raw = line.partition(b": ")
        value = unescape(raw) if colon else None
        if value is None:
            return None
        # A name given twice: the last line wins.
        raw_headers[header] = value
    headers = {}
    for known in ("fingerprint", "friendly-name", "provider-name", "container-name") + LINK_NUMBERS:
        if known.encode() in raw_headers:
            try:
                headers[known] = raw_headers[known.encode()].decode("utf-8")
            except UnicodeDecodeError:
                return None
    if ("provider-name" in headers) != ("container-name" in headers):
        return None
    for number in LINK_NUMBERS:
        if number in headers and (not DECIMAL.match(headers[number]) or int(headers[number]) > 0xFFFFFFFF):
            return None
    if not pem.startswith(b"-----BEGIN CERTIFICATE-----"):
        return None
    try:
        certificate = x509.load_pem_x509_certificate(pem)
        der = certificate.public_bytes(Encoding.DER)
        subject = certificate.subject.rfc4514_string()
    except ValueError:
        return None
    digits = hashlib.sha1(der).hexdigest()
    pairs = " ".join(digits[i:i + 2] for i in range(0, 40, 2))
    if headers.get("fingerprint") != pairs or name != digits + ".entry":
        return None
    return {
        "fingerprint": digits,
        "provider": headers.get("provider-name"),
        "container": headers.get("container-name"),
        "subject": subject,
    }


def linked_entries(folder, provider=None):
    """The readable entries of one store folder that carry a link (to
    `provider` when given), in the order of their file names."""
    try:
        names = sorted(os.listdir(folder))
    except FileNotFoundError:
        return []
    found = []
    for name in names:
        if not ENTRY_NAME.match(name):
            continue
        entry = read_entry(os.path.join(folder, name), name)
        if entry is None or entry["provider"] is None:
            continue
        if provider is not None and entry["provider"] != provider:
            continue
        found.append(entry)
    return found


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--store", default="MY", choices=STORES)
    parser.add_argument("--provider")
    parser.add_argument("--root")
    args = parser.parse_args(argv)
    folder = os.path.join(args.root or default_root(), args.store)
    try:
        entries = linked_entries(folder, args.provider)
    except OSError as error:
        sys.stderr.write("linked_certificates.py: %s: %s\n" % (folder, error.strerror))
        return 2
    for entry in entries:
        sys.stdout.write("\t".join((entry["fingerprint"], entry["container"], entry["provider"],
                                    entry["subject"])) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
