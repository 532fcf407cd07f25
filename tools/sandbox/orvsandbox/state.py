"""The sandbox's state: one object, guarded by one lock, optionally persisted.

What is persisted (``--persist``, ``<state dir>/state.json``, written with a
temporary file and a rename): identities with their phones and keys, cloud
accounts with their wallets, enrolled Kestrel installations with their paired
phones, registered Harrier desktops and the listing marks. Requests waiting on
phones, login tokens and signing sessions live in memory only.

Listing marks are whole seconds (HTTP dates have no finer resolution). Every
change moves a mark to ``max(now, previous + 1)``, so two changes within one
second still give two different ``Last-Modified`` values and a client holding
the older one never gets a 304 for the newer list.
"""
from __future__ import annotations

import json
import secrets
import threading
import time
import uuid
from dataclasses import asdict, dataclass, field, fields
from pathlib import Path
from typing import Any, Iterable, Optional

from . import seed
from .pki import CompanyData, IssuedCertificate, PkiError, SandboxPki, sign_digest, write_atomic
from .wire import b64decode_strict, b64encode

STATE_VERSION = 1
LOGIN_TOKEN_SECONDS = 600
SESSION_SECONDS = 1800


def next_mark(previous: int) -> int:
    return max(int(time.time()), previous + 1)


def new_code() -> str:
    return uuid.uuid4().hex.upper()


# ---------------------------------------------------------------- records

@dataclass
class KeyRecord:
    key_name: str
    store_name: str
    holder: dict[str, Any]
    pin: str = ""
    issued: Optional[IssuedCertificate] = field(default=None, repr=False, compare=False)

    def to_json(self) -> dict[str, Any]:
        return {"keyName": self.key_name, "storeName": self.store_name, "holder": self.holder, "pin": self.pin}

    @staticmethod
    def from_json(data: dict[str, Any]) -> "KeyRecord":
        return KeyRecord(data["keyName"], data["storeName"], data["holder"], data.get("pin", ""))

    def describe(self) -> dict[str, Any]:
        assert self.issued is not None
        return {"keyName": self.key_name, "subject": self.issued.subject_cn,
                "serial": self.issued.serial_hex, "issuer": self.issued.issuer_text,
                "fingerprint": self.issued.fingerprint_sha1, "holderKind": self.holder.get("kind"),
                "certificatePem": self.issued.pem}


@dataclass
class Device:
    code: str
    name: str
    identity: str
    keys: list[KeyRecord] = field(default_factory=list)

    def to_json(self) -> dict[str, Any]:
        return {"code": self.code, "name": self.name, "identity": self.identity,
                "keys": [k.to_json() for k in self.keys]}

    @staticmethod
    def from_json(data: dict[str, Any]) -> "Device":
        return Device(data["code"], data["name"], data["identity"], [KeyRecord.from_json(k) for k in data["keys"]])


@dataclass
class Identity:
    slug: str
    kind: str
    display_name: str
    lookups: list[list[str]]
    devices: list[str] = field(default_factory=list)

    def to_json(self) -> dict[str, Any]:
        return asdict(self)

    @staticmethod
    def from_json(data: dict[str, Any]) -> "Identity":
        return Identity(**data)


@dataclass
class Account:
    email: str
    password: str
    name: str
    access_url: str
    organization_name: str
    user_id: str
    organization_id: str
    otp: str
    push_code: bool
    wallet: list[KeyRecord] = field(default_factory=list)
    wallet_mark: int = 0

    def to_json(self) -> dict[str, Any]:
        data = {f.name: getattr(self, f.name) for f in fields(self) if f.name != "wallet"}
        data["wallet"] = [k.to_json() for k in self.wallet]
        return data

    @staticmethod
    def from_json(data: dict[str, Any]) -> "Account":
        fields = dict(data)
        fields["wallet"] = [KeyRecord.from_json(k) for k in data.get("wallet", [])]
        return Account(**fields)


@dataclass
class KestrelInstallation:
    code: str
    public_key: str
    installation_name: str
    operating_system: str
    user_name: str
    domain_name: str
    created: int
    devices: list[str] = field(default_factory=list)
    devices_mark: int = 0

    def to_json(self) -> dict[str, Any]:
        return asdict(self)

    @staticmethod
    def from_json(data: dict[str, Any]) -> "KestrelInstallation":
        return KestrelInstallation(**data)


@dataclass
class HarrierDesktop:
    code: str
    account: str
    public_key: str
    desktop_name: str
    operating_system: str
    user_name: str
    domain_name: str
    created: int
    valid: bool = True

    def to_json(self) -> dict[str, Any]:
        return asdict(self)

    @staticmethod
    def from_json(data: dict[str, Any]) -> "HarrierDesktop":
        return HarrierDesktop(**data)


@dataclass
class PhoneRequest:
    """Something a phone is asked to approve.

    kind: "A" authorisation of a computer, "M" maintenance of an identity's
    devices, "S" signature of a digest pushed by the agent.
    state: "pending", "approved", "denied"; "used" for an "M" whose maintenance ran.
    """
    id: str
    kind: str
    device: str
    installation: str
    identity: str
    hierarchy: str
    identity_code: str
    created: float
    created_monotonic: float
    state: str = "pending"
    polls: int = 0
    answered: Optional[float] = None
    answered_by: str = ""
    hash_algorithm: str = ""
    hash_content: str = ""
    key_name: str = ""
    signature: str = ""
    error: str = ""

    def to_json(self, state: "SandboxState") -> dict[str, Any]:
        device = state.devices.get(self.device)
        installation = state.installations.get(self.installation)
        return {
            "id": self.id, "kind": self.kind, "state": self.state, "device": self.device,
            "deviceName": device.name if device else "", "installation": self.installation,
            "desktopName": installation.installation_name if installation else "",
            "identity": self.identity, "identityType": self.hierarchy, "identityCode": self.identity_code,
            "created": int(self.created), "polls": self.polls, "answered": self.answered,
            "answeredBy": self.answered_by, "hashAlgorithm": self.hash_algorithm,
            "hashContent": self.hash_content, "keyName": self.key_name, "signature": self.signature,
            "error": self.error,
        }


@dataclass
class LoginToken:
    token: str
    email: str
    expires: float


@dataclass
class Session:
    token: str
    desktop: str
    account: str
    key_name: str
    expires: float
    uses: int = 0


@dataclass
class Fault:
    """A planned misbehaviour for requests whose path contains ``path``."""
    id: str
    path: str
    status: Optional[int] = None
    body: Any = None
    garbage: bool = False
    delay_ms: int = 0
    drop: bool = False
    count: int = 1          # how many matching requests; 0 or less: until removed
    hits: int = 0

    def to_json(self) -> dict[str, Any]:
        return asdict(self)


@dataclass
class AutoApprove:
    after_polls: Optional[int] = None
    after_ms: Optional[int] = None

    def due(self, request: PhoneRequest) -> bool:
        if self.after_polls is not None and request.polls >= self.after_polls:
            return True
        if self.after_ms is not None:
            return (time.monotonic() - request.created_monotonic) * 1000.0 >= self.after_ms
        return False

    def to_json(self) -> dict[str, Any]:
        return {"afterPolls": self.after_polls, "afterMs": self.after_ms}


# ---------------------------------------------------------------- the state

class SandboxState:
    """All that both services know. Handlers take ``lock`` around every use."""

    def __init__(self, pki: SandboxPki, persist_path: Optional[Path] = None,
                 catalogue_max_age: int = 300) -> None:
        self.pki = pki
        self.persist_path = persist_path
        self.lock = threading.RLock()
        self.catalogue_max_age = catalogue_max_age
        self.hierarchies: list[dict[str, Any]] = json.loads(json.dumps(seed.HIERARCHIES))
        self.future_version: Optional[dict[str, str]] = dict(seed.FUTURE_VERSION)
        self.catalogue_mark = next_mark(0)
        self.identities: dict[str, Identity] = {}
        self.devices: dict[str, Device] = {}
        self.accounts: dict[str, Account] = {}
        self.installations: dict[str, KestrelInstallation] = {}
        self.desktops: dict[str, HarrierDesktop] = {}
        self.requests: dict[str, PhoneRequest] = {}
        self.login_tokens: dict[str, LoginToken] = {}
        self.sessions: dict[str, Session] = {}
        self.faults: list[Fault] = []
        self.auto_approve = AutoApprove()
        self.log: list[dict[str, Any]] = []

    # -- construction
    @classmethod
    def create(cls, pki: SandboxPki, persist_path: Optional[Path] = None,
               catalogue_max_age: int = 300) -> "SandboxState":
        state = cls(pki, persist_path, catalogue_max_age)
        if persist_path is not None and persist_path.exists():
            state._load(json.loads(persist_path.read_text("utf-8")))
        else:
            state._seed()
        state._issue_all()
        return state

    def _seed(self) -> None:
        for entry in seed.IDENTITIES:
            identity = Identity(entry["slug"], entry["kind"], entry["displayName"],
                                [list(seed.normalise_identity(h, t)) for h, t in entry["lookups"]])
            for phone in entry["phones"]:
                device = Device(seed.device_code(phone["slug"]), phone["name"], identity.slug,
                                [KeyRecord(seed.key_name(slug), f"dev-{slug}", seed.holder_dict(holder))
                                 for slug, holder in phone["keys"]])
                self.devices[device.code] = device
                identity.devices.append(device.code)
            self.identities[identity.slug] = identity
        for entry in seed.ACCOUNTS:
            account = Account(
                email=entry["email"], password=entry["password"], name=entry["name"],
                access_url=entry["accessUrl"], organization_name=entry["organizationName"],
                user_id=str(uuid.uuid5(seed.SEED_NAMESPACE, "user:" + entry["email"])),
                organization_id=str(uuid.uuid5(seed.SEED_NAMESPACE, "org:" + entry["accessUrl"])),
                otp=entry["otp"], push_code=entry["pushCode"],
                wallet=[KeyRecord("", f"wallet-{slug}", seed.holder_dict(holder), pin)
                        for slug, holder, pin in entry["wallet"]],
                wallet_mark=next_mark(0))
            self.accounts[account.email.lower()] = account

    def _issue_all(self) -> None:
        for device in self.devices.values():
            for key in device.keys:
                self.issue(key)
        for account in self.accounts.values():
            for key in account.wallet:
                self.issue(key, wallet=True)

    def issue(self, key: KeyRecord, wallet: bool = False) -> None:
        """Loads or makes the key's certificate; wallet keys are named "serial;issuer"."""
        holder = seed.holder_from_dict(key.holder)
        if isinstance(holder, CompanyData):
            key.issued = self.pki.company_certificate(key.store_name, holder)
        else:
            key.issued = self.pki.person_certificate(key.store_name, holder)
        if wallet:
            key.key_name = f"{key.issued.serial_hex};{key.issued.issuer_text}"

    # -- persistence
    def to_json(self) -> dict[str, Any]:
        return {
            "version": STATE_VERSION,
            "catalogue": {"hierarchies": self.hierarchies, "futureVersion": self.future_version,
                          "mark": self.catalogue_mark},
            "identities": [i.to_json() for i in self.identities.values()],
            "devices": [d.to_json() for d in self.devices.values()],
            "accounts": [a.to_json() for a in self.accounts.values()],
            "installations": [i.to_json() for i in self.installations.values()],
            "desktops": [d.to_json() for d in self.desktops.values()],
        }

    def _load(self, data: dict[str, Any]) -> None:
        catalogue = data.get("catalogue", {})
        self.hierarchies = catalogue.get("hierarchies", self.hierarchies)
        self.future_version = catalogue.get("futureVersion", self.future_version)
        self.catalogue_mark = int(catalogue.get("mark", self.catalogue_mark))
        self.identities = {i["slug"]: Identity.from_json(i) for i in data.get("identities", [])}
        self.devices = {d["code"]: Device.from_json(d) for d in data.get("devices", [])}
        self.accounts = {a["email"].lower(): Account.from_json(a) for a in data.get("accounts", [])}
        self.installations = {i["code"]: KestrelInstallation.from_json(i) for i in data.get("installations", [])}
        self.desktops = {d["code"]: HarrierDesktop.from_json(d) for d in data.get("desktops", [])}

    def changed(self) -> None:
        """Called (under the lock) after every change of persisted state."""
        if self.persist_path is not None:
            text = json.dumps(self.to_json(), indent=1, ensure_ascii=False, sort_keys=True)
            write_atomic(self.persist_path, text.encode("utf-8"), 0o600)

    # -- identities and devices
    def find_identity(self, hierarchy: str, text: str) -> Optional[Identity]:
        wanted = list(seed.normalise_identity(hierarchy, text))
        for identity in self.identities.values():
            if wanted in identity.lookups:
                return identity
        return None

    def identity_devices(self, identity: Identity) -> list[Device]:
        return [self.devices[c] for c in identity.devices if c in self.devices]

    def installation_devices(self, installation: KestrelInstallation) -> list[Device]:
        return [self.devices[c] for c in installation.devices if c in self.devices]

    def touch_device(self, device_code: str) -> None:
        """Moves the listing mark of every installation that has the device."""
        for installation in self.installations.values():
            if device_code in installation.devices:
                installation.devices_mark = next_mark(installation.devices_mark)

    def pair_device(self, installation: KestrelInstallation, device_code: str) -> None:
        if device_code not in installation.devices:
            installation.devices.append(device_code)
            installation.devices_mark = next_mark(installation.devices_mark)

    def unpair_device(self, installation: KestrelInstallation, device_code: str) -> bool:
        if device_code not in installation.devices:
            return False
        installation.devices.remove(device_code)
        installation.devices_mark = next_mark(installation.devices_mark)
        return True

    def remove_device(self, device_code: str) -> None:
        """Takes a phone away from its identity and from every installation."""
        self.touch_device(device_code)
        for installation in self.installations.values():
            if device_code in installation.devices:
                installation.devices.remove(device_code)
        device = self.devices.pop(device_code, None)
        if device is not None:
            identity = self.identities.get(device.identity)
            if identity is not None and device_code in identity.devices:
                identity.devices.remove(device_code)
        for request in self.requests.values():
            if request.device == device_code and request.state == "pending":
                request.state = "denied"
                request.error = "dispositivo removido"

    def find_device_key(self, installation: KestrelInstallation, key_name: str) -> Optional[tuple[Device, KeyRecord]]:
        for device in self.installation_devices(installation):
            for key in device.keys:
                if key.key_name == key_name:
                    return device, key
        return None

    def add_device(self, identity: Identity, name: str, key_count: int = 1,
                   holder: Optional[dict[str, Any]] = None, code: Optional[str] = None) -> Device:
        device = Device(code or secrets.token_hex(20), name, identity.slug)
        self.devices[device.code] = device
        identity.devices.append(device.code)
        for _ in range(key_count):
            self.add_device_key(device, holder)
        return device

    def default_holder(self, identity: Identity) -> dict[str, Any]:
        """The holder of the first key the identity's phones carry, for new keys."""
        for device in self.identity_devices(identity):
            if device.keys:
                return device.keys[0].holder
        for entry in seed.IDENTITIES:
            if entry["slug"] == identity.slug:
                return seed.holder_dict(entry["holder"])
        raise PkiError("identidade sem titular conhecido: informe holder")

    def add_device_key(self, device: Device, holder: Optional[dict[str, Any]] = None) -> KeyRecord:
        identity = self.identities[device.identity]
        key = KeyRecord(str(uuid.uuid4()), f"dev-{uuid.uuid4().hex}", holder or self.default_holder(identity))
        self.issue(key)
        device.keys.append(key)
        self.touch_device(device.code)
        return key

    def add_wallet_key(self, account: Account, holder: dict[str, Any], pin: str) -> KeyRecord:
        key = KeyRecord("", f"wallet-{uuid.uuid4().hex}", holder, pin)
        self.issue(key, wallet=True)
        account.wallet.append(key)
        account.wallet_mark = next_mark(account.wallet_mark)
        return key

    def find_wallet_key(self, account: Account, serial: str, issuer: str) -> Optional[KeyRecord]:
        wanted_serial = serial.strip().upper().lstrip("0")
        wanted_issuer = _squash(issuer)
        for key in account.wallet:
            assert key.issued is not None
            if key.issued.serial_hex.lstrip("0") == wanted_serial and _squash(key.issued.issuer_text) == wanted_issuer:
                return key
        return None

    # -- accounts
    def find_account(self, email: str) -> Optional[Account]:
        return self.accounts.get(email.strip().lower())

    # -- phone requests
    def new_request(self, kind: str, device: Device, installation: KestrelInstallation,
                    hierarchy: str = "", identity_code: str = "", **details: str) -> PhoneRequest:
        request = PhoneRequest(id=new_code(), kind=kind, device=device.code, installation=installation.code,
                               identity=device.identity, hierarchy=hierarchy, identity_code=identity_code,
                               created=time.time(), created_monotonic=time.monotonic(), **details)
        self.requests[request.id] = request
        return request

    def poll(self, request: PhoneRequest) -> PhoneRequest:
        """One poll by the agent: counts it and lets the auto-approval rule act."""
        request.polls += 1
        self.settle(request)
        return request

    def settle(self, request: PhoneRequest) -> None:
        if request.state == "pending" and self.auto_approve.due(request):
            self.answer(request, approve=True, by="auto")

    def settle_all(self) -> None:
        for request in list(self.requests.values()):
            self.settle(request)

    def answer(self, request: PhoneRequest, approve: bool, by: str) -> PhoneRequest:
        """The phone's answer. Approving an "A" pairs the phone; approving an "S" signs."""
        if request.state != "pending":
            return request
        request.answered = time.time()
        request.answered_by = by
        if not approve:
            request.state = "denied"
            return request
        request.state = "approved"
        if request.kind == "A":
            installation = self.installations.get(request.installation)
            if installation is not None:
                self.pair_device(installation, request.device)
                self.changed()
        elif request.kind == "S":
            self._sign_request(request)
        return request

    def _sign_request(self, request: PhoneRequest) -> None:
        device = self.devices.get(request.device)
        key = next((k for k in device.keys if k.key_name == request.key_name), None) if device else None
        if key is None or key.issued is None:
            request.state = "denied"
            request.error = "chave não encontrada no dispositivo"
            return
        try:
            digest = b64decode_strict(request.hash_content)
            request.signature = b64encode(sign_digest(key.issued.key, request.hash_algorithm, digest))
        except Exception as exc:  # a bad digest ends the request, not the server
            request.state = "denied"
            request.error = str(getattr(exc, "message", exc))

    def pending_requests(self) -> list[PhoneRequest]:
        self.settle_all()
        return [r for r in self.requests.values() if r.state == "pending"]

    # -- Harrier tokens and sessions
    def new_login_token(self, account: Account) -> LoginToken:
        token = LoginToken(secrets.token_urlsafe(32), account.email.lower(), time.time() + LOGIN_TOKEN_SECONDS)
        self.login_tokens[token.token] = token
        return token

    def new_session(self, desktop: HarrierDesktop, key: KeyRecord) -> Session:
        session = Session(secrets.token_urlsafe(32), desktop.code, desktop.account, key.key_name,
                          time.time() + SESSION_SECONDS)
        self.sessions[session.token] = session
        return session

    # -- faults
    def take_fault(self, path: str) -> Optional[Fault]:
        with self.lock:
            for fault in self.faults:
                if fault.path and fault.path in path:
                    fault.hits += 1
                    if 0 < fault.count <= fault.hits:
                        self.faults.remove(fault)
                    return fault
        return None

    # -- log of calls, for the admin interface
    def record_call(self, service: str, path: str, status: int, note: str = "") -> None:
        with self.lock:
            self.log.append({"time": time.time(), "service": service, "path": path, "status": status,
                             "note": note})
            del self.log[:-500]


def _squash(text: str) -> str:
    return ",".join(part.strip() for part in text.split(",")).casefold()


def iter_keys(devices: Iterable[Device]) -> Iterable[KeyRecord]:
    for device in devices:
        yield from device.keys
