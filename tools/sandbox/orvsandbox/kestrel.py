"""Kestrel desktop calls, all POST under the base path (default /TolvaneServices/desktop).

Unsigned: ``/create`` and ``/listHierarchies`` (plain JSON both ways).
Signed: every call ending in ``/<installationCode>``. The body is an envelope
``{"contentData": <JSON text>, "signature": <base64>}``; the signature is
checked over the UTF-8 bytes of ``contentData`` with the public key that
``/create`` registered. A 200 answer is an envelope too, whose ``contentData``
is the answer document, signed with the sandbox server key. Errors are plain
documents with a ``message``:

- 400 the body is no envelope, or ``contentData`` is no JSON;
- 404 unknown installation code;
- 401 the signature does not verify.

Statuses inside answers are the strings "true" / "false", except the boolean
``status`` of ``/listHierarchies`` and ``isAuthorized``.
"""
from __future__ import annotations

import re
import time
from typing import Any, Optional

from .httpcore import Request, Response, Router
from .pki import PkiError, hash_algorithm, load_public_key, verify_signature
from .state import KestrelInstallation, PhoneRequest, SandboxState, new_code, next_mark
from .wire import WireError, b64decode_strict, b64encode, open_envelope, parse_http_date, to_json_text

CODE = r"(?P<code>[^/]+)"


class KestrelService:
    def __init__(self, state: SandboxState, base_path: str) -> None:
        self.state = state
        self.base_path = "/" + base_path.strip("/")

    def register(self, router: Router) -> None:
        base = re.escape(self.base_path)
        router.add("POST", f"{base}/create/?", self.create)
        router.add("POST", f"{base}/listHierarchies/?", self.list_hierarchies)
        signed = {
            "requestAuthorization": self.request_authorization,
            "isAuthorized": self.is_authorized,
            "maintenanceDevices": self.maintenance_devices,
            "cancelAuthorization": self.cancel_authorization,
            "listCertificates": self.list_certificates,
            "push": self.push,
            "isDone": self.is_done,
        }
        for name, handler in signed.items():
            router.add("POST", f"{base}/{name}/{CODE}", self._signed(handler))

    # ------------------------------------------------------------ unsigned calls

    def create(self, request: Request) -> Response:
        document = request.json_body()
        if not isinstance(document, dict):
            raise WireError(400, "Documento JSON de instalação esperado")
        public_key = document.get("publicKey")
        if not isinstance(public_key, str) or not public_key.strip():
            return Response.json(200, {"status": "false", "message": "Chave pública não informada"})
        try:
            load_public_key(public_key)
        except PkiError as exc:
            return Response.json(200, {"status": "false", "message": f"Chave pública inválida: {exc}"})
        text = {k: str(document.get(k) or "") for k in
                ("installationName", "operationalSystem", "userName", "domainName")}
        with self.state.lock:
            installation = KestrelInstallation(
                code=new_code(), public_key=public_key, installation_name=text["installationName"],
                operating_system=text["operationalSystem"], user_name=text["userName"],
                domain_name=text["domainName"], created=int(time.time()), devices_mark=next_mark(0))
            self.state.installations[installation.code] = installation
            self.state.changed()
        return Response.json(200, {"status": "true", "message": "", "installationCode": installation.code})

    def list_hierarchies(self, request: Request) -> Response:
        with self.state.lock:
            mark = self.state.catalogue_mark
            cache = [("Cache-Control", f"max-age={self.state.catalogue_max_age}")]
            since = parse_http_date(request.header("If-Modified-Since"))
            if since is not None and since >= mark:
                return Response.not_modified(mark, cache)
            answer: dict[str, Any] = {"status": True, "message": "", "hierarchies": self.state.hierarchies}
            if self.state.future_version:
                answer["futureVersion"] = self.state.future_version
            return Response.json(200, answer, last_modified=mark, extra=cache)

    # ------------------------------------------------------------ envelope handling

    def _signed(self, handler: Any) -> Any:
        def run(request: Request) -> Response:
            content, signature, document = open_envelope(request.body)
            code = request.group("code")
            with self.state.lock:
                installation = self.state.installations.get(code)
                if installation is None:
                    return Response.error(404, f"Instalação não encontrada: {code}")
                public_key = installation.public_key
            if not verify_signature(public_key, content.encode("utf-8"), signature):
                return Response.error(401, "Assinatura do envelope inválida")
            if not isinstance(document, (dict, type(None))):
                raise WireError(400, "contentData deve ser um objeto JSON")
            with self.state.lock:
                return handler(request, installation, document or {})
        return run

    def _envelope(self, answer: Any, last_modified: Optional[int] = None) -> Response:
        content = to_json_text(answer)
        signature = b64encode(self.state.pki.sign_document(content.encode("utf-8")))
        return Response.json(200, {"contentData": content, "signature": signature}, last_modified=last_modified)

    @staticmethod
    def _refuse(message: str) -> dict[str, Any]:
        return {"status": "false", "message": message}

    def _identity_or_refusal(self, document: dict[str, Any]) -> tuple[Any, Optional[dict[str, Any]]]:
        hierarchy = document.get("identityType")
        text = document.get("identityCode")
        if not isinstance(hierarchy, str) or not isinstance(text, str):
            return None, self._refuse("identityCode e identityType são obrigatórios")
        known = next((h for h in self.state.hierarchies if h["code"].upper() == hierarchy.strip().upper()), None)
        if known is None:
            return None, self._refuse(f"Hierarquia desconhecida: {hierarchy}")
        parts = text.split("&")
        fields = known.get("fields", [])
        if len(parts) != len(fields) or not all(
                re.fullmatch(f["regexValidator"], p) for f, p in zip(fields, parts)):
            return None, self._refuse(f"Identificação inválida para {known['displayName']}")
        identity = self.state.find_identity(hierarchy, text)
        if identity is None:
            return None, self._refuse("Nenhum dispositivo encontrado para a identificação informada")
        return identity, None

    # ------------------------------------------------------------ device authorisation

    def request_authorization(self, request: Request, installation: KestrelInstallation,
                              document: dict[str, Any]) -> Response:
        identity, refusal = self._identity_or_refusal(document)
        if refusal is not None:
            return self._envelope(refusal)
        operation = document.get("tipooperacao")
        if operation is None:
            devices = self.state.identity_devices(identity)
            if not devices:
                return self._envelope(self._refuse("Identificação sem dispositivos cadastrados"))
            return self._envelope({"status": "true", "message": "", "devices": [
                {"deviceName": d.name, "deviceCode": d.code, "alreadyExist": d.code in installation.devices}
                for d in devices]})
        if operation not in ("A", "M"):
            return self._envelope(self._refuse(f"tipooperacao desconhecido: {operation}"))
        codes = document.get("devices")
        if not isinstance(codes, list) or len(codes) != 1 or not isinstance(codes[0], str):
            return self._envelope(self._refuse("Informe exatamente um dispositivo por solicitação"))
        device = self.state.devices.get(codes[0])
        if device is None or device.identity != identity.slug:
            return self._envelope(self._refuse("Dispositivo não pertence à identificação informada"))
        phone_request = self.state.new_request(operation, device, installation,
                                               hierarchy=str(document.get("identityType")),
                                               identity_code=str(document.get("identityCode")))
        return self._envelope({"status": "true", "message": "", "desktopRequestCode": phone_request.id})

    def _own_request(self, installation: KestrelInstallation, code: Any, kinds: str) -> Optional[PhoneRequest]:
        phone_request = self.state.requests.get(code) if isinstance(code, str) else None
        if phone_request is None or phone_request.installation != installation.code or phone_request.kind not in kinds:
            return None
        return phone_request

    def is_authorized(self, request: Request, installation: KestrelInstallation,
                      document: dict[str, Any]) -> Response:
        phone_request = self._own_request(installation, document.get("desktopRequestCode"), "AM")
        if phone_request is None:
            return self._envelope(self._refuse("Solicitação desconhecida"))
        self.state.poll(phone_request)
        device = self.state.devices.get(phone_request.device)
        answer: dict[str, Any] = {"status": "true", "deviceName": device.name if device else ""}
        if phone_request.state in ("approved", "used"):
            answer["isAuthorized"] = True
        elif phone_request.state == "denied":
            answer["isAuthorized"] = False
            answer["message"] = "Solicitação recusada no dispositivo"
        else:
            answer["message"] = "Aguardando resposta do dispositivo"
        return self._envelope(answer)

    def maintenance_devices(self, request: Request, installation: KestrelInstallation,
                            document: dict[str, Any]) -> Response:
        phone_request = self._own_request(installation, document.get("desktopRequestCode"), "M")
        if phone_request is None:
            return self._envelope(self._refuse("Solicitação de manutenção desconhecida"))
        if phone_request.state == "used":
            return self._envelope(self._refuse("Solicitação de manutenção já utilizada"))
        if phone_request.state != "approved":
            return self._envelope(self._refuse("Manutenção não autorizada pelo dispositivo"))
        identity, refusal = self._identity_or_refusal(document)
        if refusal is not None:
            return self._envelope(refusal)
        if identity.slug != phone_request.identity:
            return self._envelope(self._refuse("Identificação não corresponde à solicitação autorizada"))
        codes = document.get("devices")
        if not isinstance(codes, list) or not codes or not all(isinstance(c, str) for c in codes):
            return self._envelope(self._refuse("Nenhum dispositivo informado"))
        if phone_request.device in codes:
            return self._envelope(self._refuse("O dispositivo que autorizou a manutenção não pode ser removido"))
        foreign = [c for c in codes if c not in identity.devices]
        if foreign:
            return self._envelope(self._refuse("Dispositivo não pertence à identificação: " + ", ".join(foreign)))
        for code in codes:
            self.state.remove_device(code)
        phone_request.state = "used"
        self.state.changed()
        return self._envelope({"status": "true", "message": f"{len(codes)} dispositivo(s) removido(s)"})

    def cancel_authorization(self, request: Request, installation: KestrelInstallation,
                             document: dict[str, Any]) -> Response:
        code = document.get("deviceCode")
        if not isinstance(code, str) or not self.state.unpair_device(installation, code):
            return self._envelope(self._refuse("Dispositivo não autorizado nesta instalação"))
        self.state.changed()
        return self._envelope({"status": "true", "message": ""})

    # ------------------------------------------------------------ certificates

    def list_certificates(self, request: Request, installation: KestrelInstallation,
                          document: dict[str, Any]) -> Response:
        mark = installation.devices_mark
        since = parse_http_date(request.header("If-Modified-Since"))
        if since is not None and since >= mark:
            return Response.not_modified(mark)
        listing = [{
            "deviceCode": device.code,
            "deviceName": device.name,
            "certificates": [{"base64": b64encode(key.issued.der), "keyName": key.key_name}
                             for key in device.keys if key.issued is not None],
        } for device in self.state.installation_devices(installation)]
        return self._envelope(listing, last_modified=mark)

    # ------------------------------------------------------------ signatures

    def push(self, request: Request, installation: KestrelInstallation, document: dict[str, Any]) -> Response:
        key_type = document.get("keyType")
        algorithm_name = document.get("hashAlgorithm")
        content = document.get("hashContent")
        key_name = document.get("keyName")
        if key_type != "RSA":
            return self._envelope(self._refuse(f"keyType não suportado: {key_type}"))
        if not isinstance(key_name, str) or not isinstance(content, str) or not isinstance(algorithm_name, str):
            return self._envelope(self._refuse("hashAlgorithm, hashContent e keyName são obrigatórios"))
        algorithm = hash_algorithm(algorithm_name)
        if algorithm is None:
            return self._envelope(self._refuse(f"Algoritmo de hash não suportado: {algorithm_name}"))
        try:
            digest = b64decode_strict(content)
        except WireError:
            return self._envelope(self._refuse("hashContent não é Base64"))
        if len(digest) != algorithm.digest_size:
            return self._envelope(self._refuse(f"Hash de {len(digest)} bytes não corresponde a {algorithm_name}"))
        found = self.state.find_device_key(installation, key_name)
        if found is None:
            return self._envelope(self._refuse("Chave não encontrada nos dispositivos desta instalação"))
        device, _ = found
        phone_request = self.state.new_request("S", device, installation, hash_algorithm=algorithm_name,
                                               hash_content=content, key_name=key_name)
        return self._envelope({"status": "true", "message": "", "requestCode": phone_request.id})

    def is_done(self, request: Request, installation: KestrelInstallation, document: dict[str, Any]) -> Response:
        phone_request = self._own_request(installation, document.get("requestCode"), "S")
        if phone_request is None:
            return self._envelope(self._refuse("Solicitação de assinatura desconhecida"))
        self.state.poll(phone_request)
        if phone_request.state == "pending":
            return self._envelope({"status": "false", "message": "Aguardando aprovação no dispositivo"})
        if phone_request.state == "approved":
            element = {"id": 0, "status": "true", "signedHash": phone_request.signature}
        else:
            element = {"id": 0, "status": "false",
                       "message": phone_request.error or "Assinatura recusada no dispositivo"}
        return self._envelope({"status": "true", "message": "", "hashArray": [element]})
