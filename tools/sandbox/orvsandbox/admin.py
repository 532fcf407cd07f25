"""JSON admin interface under /admin on the Kestrel port (never subject to faults).

All answers are JSON; errors are ``{"message": ...}`` with 400 / 404.
See tools/sandbox/README.md for the list of calls.
"""
from __future__ import annotations

import uuid
from typing import Any, Callable, Optional

from .httpcore import Request, Response, Router
from .pki import PkiError
from .state import AutoApprove, Device, Fault, SandboxState, next_mark
from .wire import WireError


class AdminApi:
    def __init__(self, state: SandboxState, info: Callable[[], dict[str, Any]]) -> None:
        self.state = state
        self.info = info
        self.router = Router()

    def register(self, router: Router) -> None:
        self.router = router
        add: Callable[..., None] = lambda method, pattern, handler: router.add(method, pattern, handler, False)
        add("GET", r"/admin/?", self.index)
        add("GET", r"/admin/health", lambda r: Response.json(200, {"ok": True}))
        add("GET", r"/admin/info", lambda r: Response.json(200, self.info()))
        add("GET", r"/admin/seed", self.seed)
        add("GET", r"/admin/requests", self.list_requests)
        add("GET", r"/admin/requests/(?P<id>[^/]+)", self.get_request)
        add("POST", r"/admin/requests/(?P<id>[^/]+)/(?P<action>approve|deny)", self.answer_request)
        add("GET", r"/admin/installations", self.installations)
        add("POST", r"/admin/installations/(?P<code>[^/]+)/devices", self.pair_device)
        add("POST", r"/admin/devices", self.add_device)
        add("DELETE", r"/admin/devices/(?P<code>[^/]+)", self.remove_device)
        add("POST", r"/admin/certificates", self.add_certificate)
        add("GET", r"/admin/faults", self.list_faults)
        add("POST", r"/admin/faults", self.add_fault)
        add("DELETE", r"/admin/faults", self.clear_faults)
        add("DELETE", r"/admin/faults/(?P<id>[^/]+)", self.remove_fault)
        add("GET", r"/admin/auto-approve", lambda r: Response.json(200, self.state.auto_approve.to_json()))
        add("POST", r"/admin/auto-approve", self.set_auto_approve)
        add("POST", r"/admin/catalogue", self.change_catalogue)
        add("GET", r"/admin/log", self.call_log)
        add("GET", r"/admin/state", lambda r: self._locked(lambda: Response.json(200, self.state.to_json())))

    def _locked(self, action: Callable[[], Response]) -> Response:
        with self.state.lock:
            return action()

    def index(self, request: Request) -> Response:
        return Response.json(200, {"calls": [f"{route.method} {route.pattern.pattern}"
                                             for route in self.router.routes
                                             if route.pattern.pattern.startswith(("/admin", "/phone"))]})

    # ------------------------------------------------------------ seed

    def seed(self, request: Request) -> Response:
        with self.state.lock:
            identities = []
            for identity in self.state.identities.values():
                identities.append({
                    "slug": identity.slug, "kind": identity.kind, "displayName": identity.display_name,
                    "lookups": [{"identityType": h, "identityCode": t} for h, t in identity.lookups],
                    "devices": [self._device_json(d) for d in self.state.identity_devices(identity)],
                })
            accounts = [{
                "email": a.email, "password": a.password, "urlAcesso": a.access_url,
                "organizationName": a.organization_name, "name": a.name, "userId": a.user_id,
                "organizationId": a.organization_id, "otp": a.otp, "pushCode": a.push_code,
                "wallet": [dict(k.describe(), pin=k.pin) for k in a.wallet],
            } for a in self.state.accounts.values()]
            return Response.json(200, {"hierarchies": self.state.hierarchies,
                                       "futureVersion": self.state.future_version,
                                       "identities": identities, "accounts": accounts})

    def _device_json(self, device: Device) -> dict[str, Any]:
        return {"deviceCode": device.code, "deviceName": device.name, "identity": device.identity,
                "keys": [k.describe() for k in device.keys]}

    # ------------------------------------------------------------ requests

    def list_requests(self, request: Request) -> Response:
        def first(name: str) -> Optional[str]:
            values = request.query.get(name)
            return values[0] if values else None
        wanted_state, kind, device = first("state"), first("kind"), first("device")
        with self.state.lock:
            self.state.settle_all()
            selected = [r for r in self.state.requests.values()
                        if (wanted_state is None or r.state == wanted_state)
                        and (kind is None or r.kind == kind) and (device is None or r.device == device)]
            return Response.json(200, {"requests": [r.to_json(self.state) for r in selected]})

    def get_request(self, request: Request) -> Response:
        with self.state.lock:
            found = self.state.requests.get(request.group("id"))
            if found is None:
                return Response.error(404, "solicitação desconhecida")
            self.state.settle(found)
            return Response.json(200, found.to_json(self.state))

    def answer_request(self, request: Request) -> Response:
        with self.state.lock:
            found = self.state.requests.get(request.group("id"))
            if found is None:
                return Response.error(404, "solicitação desconhecida")
            if found.state != "pending":
                return Response.json(409, dict(found.to_json(self.state), message="solicitação já respondida"))
            self.state.answer(found, approve=request.group("action") == "approve", by="admin")
            return Response.json(200, found.to_json(self.state))

    # ------------------------------------------------------------ installations and devices

    def installations(self, request: Request) -> Response:
        with self.state.lock:
            return Response.json(200, {
                "kestrel": [dict(i.to_json(), devicesLastModified=i.devices_mark)
                            for i in self.state.installations.values()],
                "harrier": [d.to_json() for d in self.state.desktops.values()],
            })

    def pair_device(self, request: Request) -> Response:
        body = self._object(request)
        with self.state.lock:
            installation = self.state.installations.get(request.group("code"))
            device = self.state.devices.get(str(body.get("deviceCode")))
            if installation is None or device is None:
                return Response.error(404, "instalação ou dispositivo desconhecido")
            self.state.pair_device(installation, device.code)
            self.state.changed()
            return Response.json(200, installation.to_json())

    def add_device(self, request: Request) -> Response:
        body = self._object(request)
        with self.state.lock:
            identity = None
            if isinstance(body.get("identity"), str):
                identity = self.state.identities.get(body["identity"])
            elif isinstance(body.get("identityType"), str) and isinstance(body.get("identityCode"), str):
                identity = self.state.find_identity(body["identityType"], body["identityCode"])
            if identity is None:
                return Response.error(404, "identidade desconhecida (identity, ou identityType + identityCode)")
            try:
                device = self.state.add_device(identity, str(body.get("deviceName") or "Novo celular"),
                                               key_count=int(body.get("keys", 1)), holder=body.get("holder"),
                                               code=body.get("deviceCode"))
            except (PkiError, TypeError, ValueError, KeyError) as exc:
                return Response.error(400, f"dispositivo não criado: {exc}")
            self.state.changed()
            return Response.json(201, self._device_json(device))

    def remove_device(self, request: Request) -> Response:
        with self.state.lock:
            code = request.group("code")
            if code not in self.state.devices:
                return Response.error(404, "dispositivo desconhecido")
            self.state.remove_device(code)
            self.state.changed()
            return Response.json(200, {"removed": code})

    def add_certificate(self, request: Request) -> Response:
        """{"deviceCode": ...} or {"account": e-mail, "pin": ...}; optional "holder"."""
        body = self._object(request)
        with self.state.lock:
            try:
                if isinstance(body.get("deviceCode"), str):
                    device = self.state.devices.get(body["deviceCode"])
                    if device is None:
                        return Response.error(404, "dispositivo desconhecido")
                    key = self.state.add_device_key(device, body.get("holder"))
                elif isinstance(body.get("account"), str):
                    account = self.state.find_account(body["account"])
                    if account is None:
                        return Response.error(404, "conta desconhecida")
                    holder = body.get("holder") or (account.wallet[0].holder if account.wallet else None)
                    if holder is None:
                        return Response.error(400, "carteira vazia: informe holder")
                    key = self.state.add_wallet_key(account, holder, str(body.get("pin", "0000")))
                else:
                    return Response.error(400, "informe deviceCode ou account")
            except (PkiError, TypeError, KeyError) as exc:
                return Response.error(400, f"certificado não emitido: {exc}")
            self.state.changed()
            return Response.json(201, dict(key.describe(), pin=key.pin))

    # ------------------------------------------------------------ faults and behaviour

    def list_faults(self, request: Request) -> Response:
        with self.state.lock:
            return Response.json(200, {"faults": [f.to_json() for f in self.state.faults]})

    def add_fault(self, request: Request) -> Response:
        body = self._object(request)
        path = body.get("path")
        if not isinstance(path, str) or not path:
            return Response.error(400, "path é obrigatório")
        status = body.get("status")
        fault = Fault(id=uuid.uuid4().hex[:12], path=path,
                      status=int(status) if status is not None else None, body=body.get("body"),
                      garbage=bool(body.get("garbage")), delay_ms=int(body.get("delay_ms", 0)),
                      drop=bool(body.get("drop")), count=int(body.get("count", 1)))
        if fault.status is None and not (fault.garbage or fault.drop or fault.delay_ms):
            return Response.error(400, "informe status, garbage, drop ou delay_ms")
        if fault.status is not None and not 100 <= fault.status <= 599:
            return Response.error(400, "status HTTP inválido")
        with self.state.lock:
            self.state.faults.append(fault)
        return Response.json(201, fault.to_json())

    def clear_faults(self, request: Request) -> Response:
        with self.state.lock:
            count = len(self.state.faults)
            self.state.faults.clear()
        return Response.json(200, {"removed": count})

    def remove_fault(self, request: Request) -> Response:
        with self.state.lock:
            before = len(self.state.faults)
            self.state.faults[:] = [f for f in self.state.faults if f.id != request.group("id")]
            return Response.json(200 if len(self.state.faults) < before else 404, {"removed": before - len(self.state.faults)})

    def set_auto_approve(self, request: Request) -> Response:
        body = self._object(request)
        polls, ms = body.get("afterPolls"), body.get("afterMs")
        with self.state.lock:
            self.state.auto_approve = AutoApprove(int(polls) if polls is not None else None,
                                                  int(ms) if ms is not None else None)
            return Response.json(200, self.state.auto_approve.to_json())

    def change_catalogue(self, request: Request) -> Response:
        """Replaces parts of the catalogue and moves its Last-Modified."""
        body = self._object(request)
        with self.state.lock:
            if "futureVersion" in body:
                self.state.future_version = body["futureVersion"]
            if isinstance(body.get("hierarchies"), list):
                self.state.hierarchies = body["hierarchies"]
            if body.get("maxAge") is not None:
                self.state.catalogue_max_age = int(body["maxAge"])
            self.state.catalogue_mark = next_mark(self.state.catalogue_mark)
            self.state.changed()
            return Response.json(200, {"lastModified": self.state.catalogue_mark,
                                       "futureVersion": self.state.future_version,
                                       "maxAge": self.state.catalogue_max_age})

    def call_log(self, request: Request) -> Response:
        with self.state.lock:
            return Response.json(200, {"calls": list(self.state.log)})

    @staticmethod
    def _object(request: Request) -> dict[str, Any]:
        body = request.json_body()
        if not isinstance(body, dict):
            raise WireError(400, "objeto JSON esperado")
        return body
