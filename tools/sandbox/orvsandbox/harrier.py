"""Harrier calls (always HTTPS), all POST with plain JSON bodies.

Authentication:

- login: e-mail, password and the organisation's access URL in the body;
- desktop registration: ``Authorization: Bearer<token>`` with the login token
  (a blank after "Bearer" is accepted too);
- every other call: ``Authorization: Bearer <base64>``, a PKCS#1 v1.5 /
  SHA-256 signature by the desktop's registered key over the flattened form of
  the request body. The desktop is the one named in the path, or by the
  ``desktopCode`` member for the two signature calls.

Errors are documents with a ``message``: 400 unreadable request, 401 bad
credentials, token or signature, 403 desktop invalidated or token of another
user, 404 unknown desktop. Refusals of the two signature calls are 200 with
``status`` false, as the agent expects.
"""
from __future__ import annotations

import re
import time
from typing import Any, Callable

from .httpcore import Request, Response, Router
from .pki import PkiError, hash_algorithm, load_public_key, sign_digest, verify_signature
from .state import Account, HarrierDesktop, SandboxState, new_code
from .wire import WireError, b64decode_strict, b64encode, flatten, parse_http_date

SignedHandler = Callable[[Request, HarrierDesktop, Account, dict[str, Any]], Response]


def access_url_slug(text: str) -> str:
    """What identifies an organisation in what the user typed: "org", "org.host", "https://org.host/"."""
    value = re.sub(r"^[a-zA-Z][a-zA-Z0-9+.-]*://", "", text.strip()).split("/")[0]
    return value.split(".")[0].lower()


class HarrierService:
    def __init__(self, state: SandboxState) -> None:
        self.state = state

    def register(self, router: Router) -> None:
        router.add("POST", r"/api/manager/usuarios/login/usrsenha/?", self.login)
        router.add("POST", r"/api/manager/orvane/usuario/(?P<user>[^/]+)/organizacao/(?P<org>[^/]+)/?",
                   self.register_desktop)
        router.add("POST", r"/api/manager/orvane/(?P<desktop>[^/]+)/statusCelular/?",
                   self._signed(self.status_celular))
        router.add("POST", r"/api/manager/orvane/(?P<desktop>[^/]+)/carteira/?", self._signed(self.wallet))
        router.add("POST", r"/api/manager/orvane/(?P<desktop>[^/]+)/carteira/invalida/?",
                   self._signed(self.invalidate_wallet))
        router.add("POST", r"/api/signature/tokensessao/?", self._signed(self.open_session))
        router.add("POST", r"/api/signature/requestHashSessionSignature/?", self._signed(self.sign_hash))

    # ------------------------------------------------------------ login and registration

    def login(self, request: Request) -> Response:
        document = request.json_body()
        if not isinstance(document, dict):
            raise WireError(400, "Documento de login esperado")
        email, password, access = (document.get(k) for k in ("email", "senha", "urlAcesso"))
        if not all(isinstance(v, str) and v for v in (email, password, access)):
            return Response.error(400, "Informe email, senha e urlAcesso")
        with self.state.lock:
            account = self.state.find_account(email)
            if (account is None or account.password != password
                    or access_url_slug(access) != account.access_url.lower()):
                return Response.error(401, "Usuário, senha ou organização inválidos")
            token = self.state.new_login_token(account)
            return Response.json(200, {"id": account.user_id, "nome": account.name,
                                       "organizacaoId": account.organization_id,
                                       "nomeOrganizacao": account.organization_name, "token": token.token})

    def register_desktop(self, request: Request) -> Response:
        authorization = (request.header("Authorization") or "").strip()
        if not authorization.startswith("Bearer"):
            return Response.error(401, "Token de acesso ausente")
        token_text = authorization[len("Bearer"):].strip()
        document = request.json_body()
        if not isinstance(document, dict):
            raise WireError(400, "Documento de registro esperado")
        with self.state.lock:
            token = self.state.login_tokens.get(token_text)
            if token is None or token.expires < time.time():
                return Response.error(401, "Token de acesso inválido ou expirado")
            account = self.state.find_account(token.email)
            assert account is not None
            if request.group("user") != account.user_id or request.group("org") != account.organization_id:
                return Response.error(403, "Token não pertence a este usuário ou organização")
            public_key = document.get("chavePublica")
            try:
                load_public_key(public_key if isinstance(public_key, str) else "")
            except PkiError as exc:
                return Response.error(400, f"chavePublica inválida: {exc}")
            desktop = HarrierDesktop(
                code=new_code(), account=account.email.lower(), public_key=public_key,
                desktop_name=str(document.get("nomeDesktop") or ""),
                operating_system=str(document.get("sistemaOperacional") or ""),
                user_name=str(document.get("nomeUsuarioLocal") or ""),
                domain_name=str(document.get("dominioRede") or ""), created=int(time.time()))
            self.state.desktops[desktop.code] = desktop
            del self.state.login_tokens[token_text]
            self.state.changed()
            return Response.json(200, {"codigoDesktop": desktop.code})

    # ------------------------------------------------------------ bearer signature

    def _signed(self, handler: SignedHandler) -> Callable[[Request], Response]:
        def run(request: Request) -> Response:
            document = request.json_body()
            if not isinstance(document, dict):
                raise WireError(400, "Documento JSON esperado")
            authorization = (request.header("Authorization") or "").strip()
            if not authorization.startswith("Bearer "):
                return Response.error(401, "Assinatura Bearer ausente")
            try:
                signature = b64decode_strict(authorization[len("Bearer "):])
            except WireError:
                return Response.error(401, "Assinatura Bearer ilegível")
            if request.match is not None and "desktop" in request.match.groupdict():
                code = request.group("desktop")
            else:
                code = document.get("desktopCode")
            with self.state.lock:
                desktop = self.state.desktops.get(code) if isinstance(code, str) else None
                if desktop is None:
                    return Response.error(404, f"Desktop não encontrado: {code}")
                public_key = desktop.public_key
            if not verify_signature(public_key, flatten(document), signature):
                return Response.error(401, "Assinatura Bearer inválida")
            with self.state.lock:
                if not desktop.valid:
                    return Response.error(403, "Carteira invalidada para este desktop")
                account = self.state.find_account(desktop.account)
                if account is None:
                    return Response.error(404, "Conta do desktop não existe mais")
                return handler(request, desktop, account, document)
        return run

    # ------------------------------------------------------------ account calls

    def status_celular(self, request: Request, desktop: HarrierDesktop, account: Account,
                       document: dict[str, Any]) -> Response:
        return Response.json(200, {"usuarioPossuiCodigoPush": account.push_code})

    def wallet(self, request: Request, desktop: HarrierDesktop, account: Account,
               document: dict[str, Any]) -> Response:
        mark = account.wallet_mark
        since = parse_http_date(request.header("If-Modified-Since"))
        if since is not None and since >= mark:
            return Response.not_modified(mark)
        return Response.json(200, {"certificados": [
            {"base64": b64encode(key.issued.der), "keyName": key.key_name}
            for key in account.wallet if key.issued is not None]}, last_modified=mark)

    def invalidate_wallet(self, request: Request, desktop: HarrierDesktop, account: Account,
                          document: dict[str, Any]) -> Response:
        desktop.valid = False
        for token, session in list(self.state.sessions.items()):
            if session.desktop == desktop.code:
                del self.state.sessions[token]
        self.state.changed()
        return Response.json(200, {"message": "Carteira invalidada para este desktop"})

    # ------------------------------------------------------------ signatures

    def open_session(self, request: Request, desktop: HarrierDesktop, account: Account,
                     document: dict[str, Any]) -> Response:
        def refuse(message: str) -> Response:
            return Response.json(200, {"status": False, "message": message})
        serial, issuer = document.get("serialNumber"), document.get("issue")
        if not isinstance(serial, str) or not isinstance(issuer, str):
            return refuse("serialNumber e issue são obrigatórios")
        key = self.state.find_wallet_key(account, serial, issuer)
        if key is None:
            return refuse("Certificado não encontrado na carteira")
        if document.get("pin") != key.pin:
            return refuse("PIN inválido")
        otp = document.get("otp")
        if document.get("push") is True and not otp:
            if not account.push_code:
                return refuse("Usuário não possui aplicativo para aprovação por push")
        elif otp != account.otp:
            return refuse("Código OTP inválido")
        session = self.state.new_session(desktop, key)
        return Response.json(200, {"status": True, "message": "", "token": session.token,
                                   "expiresIn": int(session.expires - time.time())})

    def sign_hash(self, request: Request, desktop: HarrierDesktop, account: Account,
                  document: dict[str, Any]) -> Response:
        def refuse(message: str) -> Response:
            return Response.json(200, {"status": False, "message": message})
        token = document.get("sessionToken")
        session = self.state.sessions.get(token) if isinstance(token, str) else None
        if session is None or session.desktop != desktop.code or session.expires < time.time():
            return refuse("Sessão inválida ou expirada")
        key = self.state.find_wallet_key(account, str(document.get("serialNumber") or ""),
                                         str(document.get("issue") or ""))
        if key is None or key.key_name != session.key_name or key.issued is None:
            return refuse("A sessão não foi aberta para este certificado")
        algorithm_name = document.get("algorithm")
        if not isinstance(algorithm_name, str) or hash_algorithm(algorithm_name) is None:
            return refuse(f"Algoritmo não suportado: {algorithm_name}")
        elements = document.get("hashArray")
        if not isinstance(elements, list) or not elements:
            return refuse("hashArray vazio")
        results = []
        for element in elements:
            element_id = element.get("id", 0) if isinstance(element, dict) else 0
            try:
                if not isinstance(element, dict) or not isinstance(element.get("hash"), str):
                    raise PkiError("elemento sem hash")
                digest = b64decode_strict(element["hash"])
                signature = sign_digest(key.issued.key, algorithm_name, digest)
                results.append({"id": element_id, "status": True, "message": "",
                                "signatureBase64": b64encode(signature)})
            except (PkiError, WireError) as exc:
                results.append({"id": element_id, "status": False,
                                "message": str(getattr(exc, "message", exc))})
        session.uses += 1
        return Response.json(200, {"status": True, "message": "", "idArray": results})
