"""The sandbox services inside the test's own process, for the Python tests."""
import json
import shutil
import sys
import tempfile
import urllib.request
from pathlib import Path

REPO = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / "tools" / "sandbox"))

from orvsandbox.server import Sandbox  # noqa: E402


def start_sandbox(test, config_out=None):
    """A sandbox on free loopback ports in a fresh state folder, gone with the
    test; `config_out` receives the agent's configuration for it."""
    state = Path(tempfile.mkdtemp(prefix="orvane-sandbox-test-"))
    test.addCleanup(shutil.rmtree, state, True)
    sandbox = Sandbox(state)
    sandbox.write_config(config_out)
    sandbox.start()
    test.addCleanup(sandbox.stop)
    return sandbox


def admin(sandbox, path, body=None):
    """One call of the admin interface; its answer, parsed."""
    data = None if body is None else json.dumps(body).encode("utf-8")
    request = urllib.request.Request(sandbox.info()["admin_url"] + path, data=data,
                                     headers={"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=15) as reply:
        return json.loads(reply.read() or b"null")
