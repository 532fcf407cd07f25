"""Kestrel side of the sandbox: enrolment, envelopes, catalogue, phones, listing, pushes."""
from __future__ import annotations

import base64
import hashlib
import json
import os
import sys
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from cryptography import x509  # noqa: E402
from cryptography.hazmat.primitives import hashes  # noqa: E402
from cryptography.hazmat.primitives.asymmetric import padding  # noqa: E402
from cryptography.hazmat.primitives.asymmetric.utils import Prehashed  # noqa: E402

from sandbox_harness import Agent, SandboxProcess, http, json_text, listing_hash  # noqa: E402

ANA_CPF = "39053344705"


class KestrelTestCase(unittest.TestCase):
    sandbox: SandboxProcess

    @classmethod
    def setUpClass(cls) -> None:
        cls.sandbox = SandboxProcess("--catalogue-max-age", "120").start()

    @classmethod
    def tearDownClass(cls) -> None:
        cls.sandbox.stop()

    def setUp(self) -> None:
        self.sandbox.admin_post("/auto-approve", {"afterPolls": None, "afterMs": None})
        http("DELETE", self.sandbox.admin + "/faults")
        self.agent = Agent(self.sandbox)
        self.agent.create()

    # helpers
    def search(self, identity_type: str = "CPF", code: str = ANA_CPF) -> dict:
        status, answer, _ = self.agent.signed("requestAuthorization",
                                              {"identityCode": code, "identityType": identity_type})
        self.assertEqual(status, 200)
        return answer

    def ask(self, device_code: str, letter: str = "A", code: str = ANA_CPF, identity_type: str = "CPF") -> str:
        status, answer, _ = self.agent.signed("requestAuthorization", {
            "devices": [device_code], "identityCode": code, "identityType": identity_type,
            "tipooperacao": letter})
        self.assertEqual(status, 200)
        self.assertEqual(answer["status"], "true", answer)
        return answer["desktopRequestCode"]

    def is_authorized(self, request_code: str) -> dict:
        status, answer, _ = self.agent.signed("isAuthorized", {"desktopRequestCode": request_code})
        self.assertEqual(status, 200)
        return answer

    def pair(self, device_code: str, **identity: str) -> None:
        request_code = self.ask(device_code, **identity)
        status, _ = self.sandbox.admin_post(f"/requests/{request_code}/approve")
        self.assertEqual(status, 200)
        self.assertIs(self.is_authorized(request_code)["isAuthorized"], True)

    def listing(self, mark: str = "") -> tuple[int, object, object]:
        return self.agent.signed("listCertificates", {"hash": listing_hash()}, if_modified_since=mark)


class EnrolmentAndEnvelopeTests(KestrelTestCase):
    def test_create_answers_string_status_and_registers_the_key(self) -> None:
        installations = self.sandbox.admin_get("/installations")["kestrel"]
        mine = [i for i in installations if i["code"] == self.agent.installation_code]
        self.assertEqual(len(mine), 1)
        self.assertEqual(mine[0]["public_key"], self.agent.public_pem)
        self.assertEqual(mine[0]["installation_name"], "PC-TESTE")

    def test_create_refuses_a_key_that_is_no_key(self) -> None:
        status, answer, _ = http("POST", self.sandbox.kestrel + "/create", {"publicKey": "lixo"})
        self.assertEqual(status, 200)
        self.assertEqual(answer["status"], "false")
        self.assertTrue(answer["message"])

    def test_valid_envelope_is_answered_with_a_signed_envelope(self) -> None:
        url = f"{self.sandbox.kestrel}/requestAuthorization/{self.agent.installation_code}"
        status, reply, _ = http("POST", url, raw=self.agent.envelope({"identityCode": ANA_CPF, "identityType": "CPF"}))
        self.assertEqual(status, 200)
        self.assertEqual(sorted(reply), ["contentData", "signature"])
        self.assertIsInstance(json.loads(reply["contentData"]), dict)
        base64.b64decode(reply["signature"], validate=True)

    def test_tampered_envelope_is_rejected(self) -> None:
        content = json_text({"identityCode": ANA_CPF, "identityType": "CPF"})
        signature = self.agent.sign(content.encode())
        tampered = content.replace(ANA_CPF, "52871639400")
        url = f"{self.sandbox.kestrel}/requestAuthorization/{self.agent.installation_code}"
        status, reply, _ = http("POST", url, raw=json_text({"contentData": tampered, "signature": signature}).encode())
        self.assertEqual(status, 401)
        self.assertIn("message", reply)

    def test_signature_by_another_key_is_rejected(self) -> None:
        stranger = Agent(self.sandbox)
        status, reply, _ = stranger.signed("listCertificates", {"hash": listing_hash()},
                                           code=self.agent.installation_code)
        self.assertEqual(status, 401)
        self.assertTrue(reply["message"])

    def test_unknown_installation_and_bad_bodies(self) -> None:
        status, reply, _ = self.agent.signed("listCertificates", {"hash": listing_hash()}, code="NAOEXISTE")
        self.assertEqual(status, 404)
        self.assertTrue(reply["message"])
        url = f"{self.sandbox.kestrel}/listCertificates/{self.agent.installation_code}"
        status, reply, _ = http("POST", url, {"hash": "sem envelope"})
        self.assertEqual(status, 400)
        self.assertTrue(reply["message"])


class CatalogueTests(KestrelTestCase):
    def test_catalogue_shape_cache_control_and_304(self) -> None:
        url = self.sandbox.kestrel + "/listHierarchies"
        status, answer, headers = http("POST", url, raw=b"null")
        self.assertEqual(status, 200)
        self.assertIs(answer["status"], True)
        self.assertEqual(headers["Cache-Control"], "max-age=120")
        codes = [h["code"] for h in answer["hierarchies"]]
        self.assertIn("CPF", codes)
        cpf = next(h for h in answer["hierarchies"] if h["code"] == "CPF")
        self.assertEqual(cpf["fields"], [{"mask": "999.999.999-99", "regexValidator": "[0-9]{11}"}])
        self.assertTrue(any(len(h["fields"]) == 2 for h in answer["hierarchies"]))
        self.assertTrue(any(f["mask"] == "?" for h in answer["hierarchies"] for f in h["fields"]))
        self.assertEqual(sorted(answer["futureVersion"]), ["availableSince", "versionString"])
        mark = headers["Last-Modified"]

        status, body, headers = http("POST", url, raw=b"null", headers={"If-Modified-Since": mark})
        self.assertEqual(status, 304)
        self.assertIsNone(body)
        self.assertEqual(headers["Cache-Control"], "max-age=120")

        self.sandbox.admin_post("/catalogue", {"futureVersion": {"availableSince": "2026-01-01",
                                                                  "versionString": "9.9.9"}})
        status, answer, headers = http("POST", url, raw=b"null", headers={"If-Modified-Since": mark})
        self.assertEqual(status, 200)
        self.assertEqual(answer["futureVersion"]["versionString"], "9.9.9")
        self.assertNotEqual(headers["Last-Modified"], mark)


class DeviceAuthorisationTests(KestrelTestCase):
    def test_search_finds_the_identity_phones(self) -> None:
        answer = self.search()
        self.assertEqual(answer["status"], "true")
        self.assertEqual([d["deviceName"] for d in answer["devices"]], ["Galaxy S23 de Ana", "iPhone 13 de Ana"])
        self.assertTrue(all(d["alreadyExist"] is False for d in answer["devices"]))

    def test_search_by_other_hierarchies(self) -> None:
        self.assertEqual(self.search("EMAIL", "Ana.Lima@exemplo.com.br")["status"], "true")
        two_fields = self.search("CNPJ_CPF", "28341957000110&80315792612")
        self.assertEqual(two_fields["status"], "true", two_fields)
        self.assertEqual(len(two_fields["devices"]), 3)

    def test_search_refusals_carry_a_message(self) -> None:
        for identity_type, code in (("CPF", "11111111111"), ("CPF", "123"), ("XYZ", ANA_CPF)):
            answer = self.search(identity_type, code)
            self.assertEqual(answer["status"], "false")
            self.assertTrue(answer["message"])

    def test_approval_through_the_admin_interface_pairs_the_phone(self) -> None:
        device = self.search()["devices"][0]
        request_code = self.ask(device["deviceCode"])
        self.assertNotIn("isAuthorized", self.is_authorized(request_code))

        pending = self.sandbox.admin_get("/requests?state=pending&kind=A")["requests"]
        mine = [r for r in pending if r["id"] == request_code]
        self.assertEqual(len(mine), 1)
        self.assertEqual(mine[0]["deviceName"], device["deviceName"])
        self.assertEqual(mine[0]["desktopName"], "PC-TESTE")

        status, answered = self.sandbox.admin_post(f"/requests/{request_code}/approve")
        self.assertEqual((status, answered["state"]), (200, "approved"))
        status, _ = self.sandbox.admin_post(f"/requests/{request_code}/deny")
        self.assertEqual(status, 409)
        self.assertIs(self.is_authorized(request_code)["isAuthorized"], True)
        self.assertTrue(self.search()["devices"][0]["alreadyExist"])

        status, listing, _ = self.listing()
        self.assertEqual(status, 200)
        self.assertEqual([d["deviceCode"] for d in listing], [device["deviceCode"]])
        certificate = x509.load_der_x509_certificate(base64.b64decode(listing[0]["certificates"][0]["base64"]))
        self.assertIn(ANA_CPF, certificate.subject.rfc4514_string())
        alt = certificate.extensions.get_extension_for_class(x509.SubjectAlternativeName).value
        other = {n.type_id.dotted_string: n.value for n in alt if isinstance(n, x509.OtherName)}
        self.assertEqual(other["2.16.76.1.3.1"][2:2 + 19], ("14031988" + ANA_CPF).encode())

    def test_denied_request_answers_false(self) -> None:
        device = self.search()["devices"][1]
        request_code = self.ask(device["deviceCode"])
        self.sandbox.admin_post(f"/requests/{request_code}/deny")
        self.assertIs(self.is_authorized(request_code)["isAuthorized"], False)
        status, listing, _ = self.listing()
        self.assertEqual((status, listing), (200, []))

    def test_auto_approval_after_polls(self) -> None:
        self.sandbox.admin_post("/auto-approve", {"afterPolls": 2})
        request_code = self.ask(self.search()["devices"][0]["deviceCode"])
        self.assertNotIn("isAuthorized", self.is_authorized(request_code))
        self.assertIs(self.is_authorized(request_code)["isAuthorized"], True)

    def test_auto_approval_after_milliseconds(self) -> None:
        self.sandbox.admin_post("/auto-approve", {"afterMs": 0})
        request_code = self.ask(self.search()["devices"][0]["deviceCode"])
        self.assertIs(self.is_authorized(request_code)["isAuthorized"], True)
        self.assertEqual(self.sandbox.admin_get(f"/requests/{request_code}")["answeredBy"], "auto")

    def test_request_for_a_phone_of_someone_else_is_refused(self) -> None:
        other = self.search("CPF", "52871639400")["devices"][0]["deviceCode"]
        status, answer, _ = self.agent.signed("requestAuthorization", {
            "devices": [other], "identityCode": ANA_CPF, "identityType": "CPF", "tipooperacao": "A"})
        self.assertEqual((status, answer["status"]), (200, "false"))

    def test_maintenance_removes_other_phones_of_the_identity(self) -> None:
        joao = ("CPF", "21593846746")
        devices = self.search(*joao)["devices"]
        self.assertEqual(len(devices), 2)
        keep, remove = devices[0]["deviceCode"], devices[1]["deviceCode"]
        self.pair(remove, code=joao[1])
        request_code = self.ask(keep, "M", code=joao[1])
        document = {"desktopRequestCode": request_code, "devices": [remove], "identityCode": joao[1],
                    "identityType": "CPF"}
        status, answer, _ = self.agent.signed("maintenanceDevices", document)
        self.assertEqual(answer["status"], "false")  # not approved yet
        self.sandbox.admin_post(f"/requests/{request_code}/approve")
        self.assertIs(self.is_authorized(request_code)["isAuthorized"], True)

        status, answer, _ = self.agent.signed("maintenanceDevices", dict(document, devices=[keep]))
        self.assertEqual(answer["status"], "false")
        self.assertTrue(answer["message"])
        status, answer, _ = self.agent.signed("maintenanceDevices", document)
        self.assertEqual((status, answer["status"]), (200, "true"))
        self.assertTrue(answer["message"])
        self.assertEqual([d["deviceCode"] for d in self.search(*joao)["devices"]], [keep])
        status, listing, _ = self.listing()
        self.assertEqual(listing, [])

    def test_cancel_authorization(self) -> None:
        device = self.search()["devices"][0]["deviceCode"]
        status, answer, _ = self.agent.signed("cancelAuthorization", {"deviceCode": device})
        self.assertEqual(answer["status"], "false")
        self.pair(device)
        status, answer, _ = self.agent.signed("cancelAuthorization", {"deviceCode": device})
        self.assertEqual((status, answer["status"]), (200, "true"))
        self.assertEqual(self.listing()[1], [])


class ListingTests(KestrelTestCase):
    def test_listing_marks_and_304(self) -> None:
        device = self.search()["devices"][0]["deviceCode"]
        status, listing, headers = self.listing()
        self.assertEqual((status, listing), (200, []))
        first_mark = headers["Last-Modified"]
        self.assertEqual(self.listing(first_mark)[0], 304)

        self.pair(device)
        status, listing, headers = self.listing(first_mark)
        self.assertEqual(status, 200)
        self.assertEqual(len(listing[0]["certificates"]), 1)
        second_mark = headers["Last-Modified"]
        self.assertNotEqual(second_mark, first_mark)
        self.assertEqual(self.listing(second_mark)[0], 304)

        status, added = self.sandbox.admin_post("/certificates", {"deviceCode": device})
        self.assertEqual(status, 201)
        status, listing, headers = self.listing(second_mark)
        self.assertEqual(status, 200)
        self.assertEqual([c["keyName"] for c in listing[0]["certificates"]][-1], added["keyName"])
        self.assertEqual(self.listing(headers["Last-Modified"])[0], 304)

    def test_added_device_shows_in_search(self) -> None:
        status, device = self.sandbox.admin_post("/devices", {"identityType": "CPF", "identityCode": ANA_CPF,
                                                              "deviceName": "Pixel 8 de Ana"})
        self.assertEqual(status, 201)
        names = [d["deviceName"] for d in self.search()["devices"]]
        self.assertIn("Pixel 8 de Ana", names)
        self.assertEqual(len(device["keys"]), 1)


class PushTests(KestrelTestCase):
    def test_push_is_signed_with_the_phone_key(self) -> None:
        device = self.search()["devices"][0]["deviceCode"]
        self.pair(device)
        listing = self.listing()[1]
        key = listing[0]["certificates"][0]
        digest = hashlib.sha256(b"documento a assinar").digest()
        status, answer, _ = self.agent.signed("push", {
            "hashAlgorithm": "SHA256", "hashContent": base64.b64encode(digest).decode(),
            "keyName": key["keyName"], "keyType": "RSA"})
        self.assertEqual((status, answer["status"]), (200, "true"))
        request_code = answer["requestCode"]
        status, answer, _ = self.agent.signed("isDone", {"requestCode": request_code})
        self.assertEqual(answer["status"], "false")

        pending = self.sandbox.admin_get(f"/requests?kind=S&device={device}&state=pending")["requests"]
        self.assertEqual([r["id"] for r in pending], [request_code])
        self.sandbox.admin_post(f"/requests/{request_code}/approve")
        status, answer, _ = self.agent.signed("isDone", {"requestCode": request_code})
        self.assertEqual(answer["status"], "true")
        element = answer["hashArray"][0]
        self.assertEqual(element["status"], "true")
        certificate = x509.load_der_x509_certificate(base64.b64decode(key["base64"]))
        certificate.public_key().verify(base64.b64decode(element["signedHash"]), digest,
                                        padding.PKCS1v15(), Prehashed(hashes.SHA256()))

    def test_push_refusals(self) -> None:
        digest = base64.b64encode(hashlib.sha256(b"x").digest()).decode()
        cases = [
            {"hashAlgorithm": "SHA256", "hashContent": digest, "keyName": "desconhecida", "keyType": "RSA"},
            {"hashAlgorithm": "MD4", "hashContent": digest, "keyName": "x", "keyType": "RSA"},
            {"hashAlgorithm": "SHA512", "hashContent": digest, "keyName": "x", "keyType": "RSA"},
            {"hashAlgorithm": "SHA256", "hashContent": digest, "keyName": "x", "keyType": "EC"},
        ]
        for document in cases:
            status, answer, _ = self.agent.signed("push", document)
            self.assertEqual((status, answer["status"]), (200, "false"), document)

    def test_denied_signature(self) -> None:
        device = self.search()["devices"][0]["deviceCode"]
        self.pair(device)
        key = self.listing()[1][0]["certificates"][0]["keyName"]
        digest = base64.b64encode(hashlib.sha1(b"x").digest()).decode()
        answer = self.agent.signed("push", {"hashAlgorithm": "SHA1", "hashContent": digest, "keyName": key,
                                            "keyType": "RSA"})[1]
        self.sandbox.admin_post(f"/requests/{answer['requestCode']}/deny")
        answer = self.agent.signed("isDone", {"requestCode": answer["requestCode"]})[1]
        self.assertEqual(answer["status"], "true")
        self.assertEqual(answer["hashArray"][0]["status"], "false")


class FaultTests(KestrelTestCase):
    def test_forced_status_garbage_drop_and_delay(self) -> None:
        url = self.sandbox.kestrel + "/listHierarchies"
        self.sandbox.admin_post("/faults", {"path": "/listHierarchies", "status": 503, "count": 1})
        status, body, _ = http("POST", url, raw=b"null")
        self.assertEqual(status, 503)
        self.assertTrue(body["message"])
        self.assertEqual(http("POST", url, raw=b"null")[0], 200)

        self.sandbox.admin_post("/faults", {"path": "/listHierarchies", "garbage": True})
        status, body, _ = http("POST", url, raw=b"null")
        self.assertEqual(status, 200)
        self.assertIsInstance(body, bytes)

        self.sandbox.admin_post("/faults", {"path": "/listHierarchies", "drop": True})
        with self.assertRaises(Exception):
            http("POST", url, raw=b"null")

        self.sandbox.admin_post("/faults", {"path": "/listHierarchies", "delay_ms": 300})
        started = time.monotonic()
        self.assertEqual(http("POST", url, raw=b"null")[0], 200)
        self.assertGreaterEqual(time.monotonic() - started, 0.3)
        self.assertEqual(self.sandbox.admin_get("/faults")["faults"], [])


if __name__ == "__main__":
    unittest.main()
