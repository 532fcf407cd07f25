#!/usr/bin/python3
"""Orvane sandbox: local Kestrel and Harrier services with a phone simulator.

Run with Debian's interpreter, which has python3-cryptography:

    /usr/bin/python3 tools/sandbox/orvane_sandbox.py --state-dir /tmp/orvane-sandbox

See README.md beside this file.
"""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from orvsandbox.server import main  # noqa: E402

if __name__ == "__main__":
    sys.exit(main())
