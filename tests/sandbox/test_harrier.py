"""Harrier side of the sandbox: TLS, login, desktop registration, bearer signatures, wallet, sessions."""
from __future__ import annotations

import base64
import hashlib
import os
import ssl
import sys
import unittest
import urllib.error
import urllib.request

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from cryptography import x509  # noqa: E402
from cryptography.hazmat.primitives import hashes  # noqa: E402
from cryptography.hazmat.primitives.asymmetric import padding  # noqa: E402
from cryptography.hazmat.primitives.asymmetric.utils import Prehashed  # noqa: E402

from sandbox_harness import Agent, SandboxProcess, flatten, http, now_millis  # noqa: E402

LOGIN = "/api/manager/usuarios/login/usrsenha"
HORIZONTE = {"email": "financeiro@horizonteazul.com.br", "senha": "Horizonte#2024", "urlAcesso": "horizonte-azul"}


class HarrierTestCase(unittest.TestCase):
    sandbox: SandboxProcess

    @classmethod
    def setUpClass(cls) -> None:
        cls.sandbox = SandboxProcess().start()

    @classmethod
    def tearDownClass(cls) -> None:
        cls.sandbox.stop()

    def login(self, credentials: dict = HORIZONTE) -> tuple[int, dict]:
        status, answer, _ = http("POST", self.sandbox.harrier + LOGIN, credentials,
                                 context=self.sandbox.tls_context())
        return status, answer

    def registered_agent(self) -> Agent:
        status, login = self.login()
        self.assertEqual(status, 200, login)
        agent = Agent(self.sandbox)
        document = {"chavePublica": agent.public_pem, "dominioRede": "WORKGROUP", "nomeDesktop": "PC-TESTE",
                    "nomeUsuarioLocal": "teste", "sistemaOperacional": "Debian 12"}
        path = f"/api/manager/orvane/usuario/{login['id']}/organizacao/{login['organizacaoId']}"
        status, answer, _ = agent.harrier_post(path, document, authorization="Bearer" + login["token"])
        self.assertEqual(status, 200, answer)
        agent.desktop_code = answer["codigoDesktop"]
        return agent

    def wallet(self, agent: Agent, mark: str = "") -> tuple[int, object, object]:
        return agent.harrier_post(f"/api/manager/orvane/{agent.desktop_code}/carteira",
                                  {"momento": now_millis()}, if_modified_since=mark)


class TlsAndLoginTests(HarrierTestCase):
    def test_server_certificate_verifies_against_the_sandbox_ca_for_127_0_0_1(self) -> None:
        context = self.sandbox.tls_context()
        context.check_hostname = True
        self.assertEqual(self.login()[0], 200)
        with self.assertRaises(urllib.error.URLError):
            urllib.request.urlopen(self.sandbox.harrier + LOGIN, data=b"{}", timeout=10,
                                   context=ssl.create_default_context())

    def test_login_answers_the_identifiers_and_a_token(self) -> None:
        status, answer = self.login(dict(HORIZONTE, email="Financeiro@HorizonteAzul.com.br",
                                         urlAcesso="https://horizonte-azul.sandbox/"))
        self.assertEqual(status, 200)
        for member in ("id", "nome", "organizacaoId", "nomeOrganizacao", "token"):
            self.assertIsInstance(answer[member], str)
            self.assertTrue(answer[member])

    def test_wrong_password_or_organisation_is_401_with_message(self) -> None:
        for wrong in (dict(HORIZONTE, senha="errada"), dict(HORIZONTE, urlAcesso="outra")):
            status, answer = self.login(wrong)
            self.assertEqual(status, 401)
            self.assertIsInstance(answer["message"], str)

    def test_registration_needs_a_valid_token(self) -> None:
        status, login = self.login()
        agent = Agent(self.sandbox)
        path = f"/api/manager/orvane/usuario/{login['id']}/organizacao/{login['organizacaoId']}"
        status, answer, _ = agent.harrier_post(path, {"chavePublica": agent.public_pem},
                                               authorization="Bearer")
        self.assertEqual(status, 401)
        self.assertTrue(answer["message"])


class SignedCallTests(HarrierTestCase):
    def test_status_celular(self) -> None:
        agent = self.registered_agent()
        status, answer, _ = agent.harrier_post(f"/api/manager/orvane/{agent.desktop_code}/statusCelular",
                                               {"momento": now_millis()})
        self.assertEqual(status, 200)
        self.assertIs(answer["usuarioPossuiCodigoPush"], True)

    def test_bearer_signature_over_other_content_is_rejected(self) -> None:
        agent = self.registered_agent()
        document = {"momento": now_millis()}
        forged = agent.bearer({"momento": "1"})
        status, answer, _ = agent.harrier_post(f"/api/manager/orvane/{agent.desktop_code}/carteira",
                                               document, authorization=forged)
        self.assertEqual(status, 401)
        self.assertTrue(answer["message"])
        stranger = Agent(self.sandbox)
        stranger.desktop_code = agent.desktop_code
        self.assertEqual(self.wallet(stranger)[0], 401)
        stranger.desktop_code = "NAOEXISTE"
        self.assertEqual(self.wallet(stranger)[0], 404)

    def test_wallet_listing_with_304_and_new_certificate(self) -> None:
        agent = self.registered_agent()
        status, answer, headers = self.wallet(agent)
        self.assertEqual(status, 200)
        names = [c["keyName"] for c in answer["certificados"]]
        self.assertEqual(len(names), 2)
        for element in answer["certificados"]:
            serial, issuer = element["keyName"].split(";")
            certificate = x509.load_der_x509_certificate(base64.b64decode(element["base64"]))
            self.assertEqual(int(serial, 16), certificate.serial_number)
            self.assertEqual(issuer, certificate.issuer.rfc4514_string())
        mark = headers["Last-Modified"]
        self.assertEqual(self.wallet(agent, mark)[0], 304)
        status, added = self.sandbox.admin_post("/certificates", {"account": HORIZONTE["email"], "pin": "2468"})
        self.assertEqual(status, 201)
        status, answer, headers = self.wallet(agent, mark)
        self.assertEqual(status, 200)
        self.assertEqual(answer["certificados"][-1]["keyName"], added["keyName"])
        self.assertNotEqual(headers["Last-Modified"], mark)

    def test_session_and_hash_signature_with_the_wallet_key(self) -> None:
        agent = self.registered_agent()
        element = self.wallet(agent)[1]["certificados"][0]
        serial, issuer = element["keyName"].split(";")
        session_request = {"desktopCode": agent.desktop_code, "issue": issuer, "nomeAplicacaoDesktop": "Teste",
                           "otp": "135790", "pin": "4321", "push": False, "serialNumber": serial}
        self.assertEqual(flatten(dict(session_request, push=True)),
                         (agent.desktop_code + issuer + "Teste135790" + "4321" + "push" + serial).encode())

        status, answer, _ = agent.harrier_post("/api/signature/tokensessao", dict(session_request, pin="0000"))
        self.assertEqual((status, answer["status"]), (200, False))
        self.assertTrue(answer["message"])
        status, answer, _ = agent.harrier_post("/api/signature/tokensessao", dict(session_request, otp="000000"))
        self.assertIs(answer["status"], False)
        status, answer, _ = agent.harrier_post("/api/signature/tokensessao", session_request)
        self.assertEqual((status, answer["status"]), (200, True), answer)
        token = answer["token"]

        digest = hashlib.sha256(b"contrato").digest()
        sign_request = {"algorithm": "SHA256", "desktopCode": agent.desktop_code,
                        "hashArray": [{"hash": base64.b64encode(digest).decode(), "id": 0}],
                        "issue": issuer, "serialNumber": serial, "sessionToken": token}
        status, answer, _ = agent.harrier_post("/api/signature/requestHashSessionSignature", sign_request)
        self.assertEqual((status, answer["status"]), (200, True), answer)
        result = answer["idArray"][0]
        self.assertIs(result["status"], True)
        certificate = x509.load_der_x509_certificate(base64.b64decode(element["base64"]))
        certificate.public_key().verify(base64.b64decode(result["signatureBase64"]), digest,
                                        padding.PKCS1v15(), Prehashed(hashes.SHA256()))

        status, answer, _ = agent.harrier_post("/api/signature/requestHashSessionSignature",
                                               dict(sign_request, sessionToken="expirado"))
        self.assertEqual((status, answer["status"]), (200, False))
        bad_hash = dict(sign_request, hashArray=[{"hash": base64.b64encode(b"curto").decode(), "id": 0}])
        status, answer, _ = agent.harrier_post("/api/signature/requestHashSessionSignature", bad_hash)
        self.assertIs(answer["status"], True)
        self.assertIs(answer["idArray"][0]["status"], False)
        self.assertTrue(answer["idArray"][0]["message"])

    def test_push_session_without_otp_for_an_account_with_push(self) -> None:
        agent = self.registered_agent()
        serial, issuer = self.wallet(agent)[1]["certificados"][1]["keyName"].split(";")
        status, answer, _ = agent.harrier_post("/api/signature/tokensessao", {
            "desktopCode": agent.desktop_code, "issue": issuer, "nomeAplicacaoDesktop": "Teste", "otp": "",
            "pin": "8765", "push": True, "serialNumber": serial})
        self.assertIs(answer["status"], True, answer)

    def test_invalidated_wallet_ends_the_desktop(self) -> None:
        agent = self.registered_agent()
        path = f"/api/manager/orvane/{agent.desktop_code}/carteira/invalida"
        status, answer, _ = agent.harrier_post(path, {"momento": now_millis()})
        self.assertEqual(status, 200)
        status, answer, _ = self.wallet(agent)
        self.assertEqual(status, 403)
        self.assertTrue(answer["message"])

    def test_faults_apply_to_harrier_paths(self) -> None:
        agent = self.registered_agent()
        self.sandbox.admin_post("/faults", {"path": "/carteira", "status": 500, "body": {"message": "x"}})
        status, answer, _ = self.wallet(agent)
        self.assertEqual((status, answer), (500, {"message": "x"}))
        self.assertEqual(self.wallet(agent)[0], 200)


if __name__ == "__main__":
    unittest.main()
