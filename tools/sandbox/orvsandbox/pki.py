"""Sandbox public-key infrastructure.

Two hierarchies are made on first start and cached as PEM files in
``<state dir>/pki``:

- an ICP-Brasil-like one, "AC Raiz Sandbox Orvane" over "AC Sandbox Orvane
  RFB", which issues the e-CPF / e-CNPJ certificates of phones and cloud
  wallets, with the identity fields of the ICP-Brasil profile in
  ``otherName`` entries (2.16.76.1.3.x) of the subject alternative name;
- a TLS one, "AC Sandbox Orvane TLS", which issues the Harrier server
  certificate for 127.0.0.1, ::1 and localhost.

Private keys are generated here and never checked in. All keys are RSA 2048;
signatures are PKCS#1 v1.5, the scheme the agent uses.
"""
from __future__ import annotations

import datetime
import hashlib
import os
import re
import secrets
import tempfile
import threading
from dataclasses import dataclass
from ipaddress import ip_address
from pathlib import Path
from typing import Callable, Optional

from cryptography import x509
from cryptography.exceptions import InvalidSignature
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding, rsa
from cryptography.hazmat.primitives.asymmetric.utils import Prehashed
from cryptography.x509.oid import ExtendedKeyUsageOID, NameOID

KEY_BITS = 2048

# ICP-Brasil identity fields (otherName of the subject alternative name).
OID_PERSON_DATA = "2.16.76.1.3.1"       # birth date, CPF, PIS, RG, RG issuer
OID_COMPANY_RESPONSIBLE = "2.16.76.1.3.2"  # name of the person responsible
OID_COMPANY_CNPJ = "2.16.76.1.3.3"      # CNPJ
OID_COMPANY_PERSON_DATA = "2.16.76.1.3.4"  # responsible's birth date, CPF, PIS, RG
OID_PERSON_VOTER = "2.16.76.1.3.5"      # voter id, zone, section, city
OID_PERSON_CEI = "2.16.76.1.3.6"        # CEI of a person
OID_COMPANY_CEI = "2.16.76.1.3.7"       # CEI of a company

# Policy of an A3 signature certificate (key in a device / HSM) and its practices.
POLICY_A3 = "2.16.76.1.2.3.6"
POLICY_A1 = "2.16.76.1.2.1.12"
CPS_URL = "http://127.0.0.1/sandbox/repositorio/dpc-ac-sandbox-orvane.pdf"

HASH_ALGORITHMS: dict[str, Callable[[], hashes.HashAlgorithm]] = {
    "SHA1": hashes.SHA1,
    "SHA224": hashes.SHA224,
    "SHA256": hashes.SHA256,
    "SHA384": hashes.SHA384,
    "SHA512": hashes.SHA512,
}


class PkiError(Exception):
    pass


def hash_algorithm(name: str) -> Optional[hashes.HashAlgorithm]:
    """The digest named "SHA256", "sha-256", "SHA256withRSA" and the like; None if unknown."""
    key = re.sub(r"[^A-Z0-9]", "", name.upper())
    key = key.removesuffix("WITHRSA").removesuffix("RSA")
    factory = HASH_ALGORITHMS.get(key)
    return factory() if factory else None


# ---------------------------------------------------------------- key material

def new_key() -> rsa.RSAPrivateKey:
    return rsa.generate_private_key(public_exponent=65537, key_size=KEY_BITS)


def key_to_pem(key: rsa.RSAPrivateKey) -> bytes:
    return key.private_bytes(serialization.Encoding.PEM,
                             serialization.PrivateFormat.PKCS8,
                             serialization.NoEncryption())


def public_key_pem(key: rsa.RSAPrivateKey) -> str:
    return key.public_key().public_bytes(
        serialization.Encoding.PEM,
        serialization.PublicFormat.SubjectPublicKeyInfo).decode("ascii")


def load_public_key(pem: str) -> rsa.RSAPublicKey:
    """Reads a "PUBLIC KEY" (or "RSA PUBLIC KEY") PEM text; raises PkiError."""
    try:
        key = serialization.load_pem_public_key(pem.encode("ascii", "strict"))
    except (ValueError, UnicodeEncodeError, TypeError) as exc:
        raise PkiError(f"chave pública ilegível: {exc}") from exc
    if not isinstance(key, rsa.RSAPublicKey):
        raise PkiError("a chave pública não é RSA")
    if key.key_size < 1024:
        raise PkiError("chave RSA curta demais")
    return key


def verify_signature(public_pem: str, data: bytes, signature: bytes) -> bool:
    """PKCS#1 v1.5 over SHA-256 of ``data``, as the agent signs."""
    try:
        key = load_public_key(public_pem)
        key.verify(signature, data, padding.PKCS1v15(), hashes.SHA256())
        return True
    except (InvalidSignature, PkiError, ValueError):
        return False


def sign_data(key: rsa.RSAPrivateKey, data: bytes) -> bytes:
    return key.sign(data, padding.PKCS1v15(), hashes.SHA256())


def sign_digest(key: rsa.RSAPrivateKey, algorithm_name: str, digest: bytes) -> bytes:
    """PKCS#1 v1.5 signature of an already computed digest; raises PkiError."""
    algorithm = hash_algorithm(algorithm_name)
    if algorithm is None:
        raise PkiError(f"algoritmo de hash desconhecido: {algorithm_name!r}")
    if len(digest) != algorithm.digest_size:
        raise PkiError(f"hash de {len(digest)} bytes não é {algorithm.name}")
    return key.sign(digest, padding.PKCS1v15(), Prehashed(algorithm))


def write_atomic(path: Path, data: bytes, mode: int = 0o600) -> None:
    path.parent.mkdir(parents=True, exist_ok=True)
    fd, tmp = tempfile.mkstemp(dir=str(path.parent), prefix=f".{path.name}.")
    try:
        with os.fdopen(fd, "wb") as handle:
            handle.write(data)
        os.chmod(tmp, mode)
        os.replace(tmp, path)
    except BaseException:
        if os.path.exists(tmp):
            os.unlink(tmp)
        raise


class KeyStore:
    """Named private keys as PEM files in one directory, made on first use."""

    def __init__(self, directory: Path) -> None:
        self.directory = directory
        self._cache: dict[str, rsa.RSAPrivateKey] = {}
        self._lock = threading.Lock()

    def _path(self, name: str) -> Path:
        safe = re.sub(r"[^A-Za-z0-9_.-]", "_", name)
        return self.directory / f"{safe}.key.pem"

    def key(self, name: str) -> rsa.RSAPrivateKey:
        with self._lock:
            cached = self._cache.get(name)
            if cached is not None:
                return cached
            path = self._path(name)
            if path.exists():
                key = serialization.load_pem_private_key(path.read_bytes(), password=None)
                assert isinstance(key, rsa.RSAPrivateKey)
            else:
                key = new_key()
                write_atomic(path, key_to_pem(key))
            self._cache[name] = key
            return key


# ---------------------------------------------------------------- DER helpers

def _der_length(length: int) -> bytes:
    if length < 0x80:
        return bytes([length])
    body = length.to_bytes((length.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(body)]) + body


def der_octet_string(data: bytes) -> bytes:
    return b"\x04" + _der_length(len(data)) + data


def other_name(oid: str, text: str) -> x509.OtherName:
    """An otherName whose value is an OCTET STRING, as ICP-Brasil certificates carry it."""
    return x509.OtherName(x509.ObjectIdentifier(oid), der_octet_string(text.encode("latin-1")))


# ---------------------------------------------------------------- holder data

def _digits(text: str, width: int) -> str:
    return (text or "").rjust(width, "0")[:width]


@dataclass(frozen=True)
class PersonData:
    """A person as the ICP-Brasil profile writes one (dates as DDMMYYYY)."""
    name: str
    cpf: str
    birth_date: str
    email: str
    pis: str = ""
    rg: str = ""
    rg_issuer: str = ""
    voter_id: str = ""
    voter_zone: str = ""
    voter_section: str = ""
    voter_city: str = ""
    cei: str = ""

    def person_field(self) -> str:
        """Value of 2.16.76.1.3.1 / .4: 8 + 11 + 11 + 15 + 6 characters."""
        return (_digits(self.birth_date, 8) + _digits(self.cpf, 11) + _digits(self.pis, 11)
                + _digits(self.rg, 15) + (self.rg_issuer or "").ljust(6)[:6])

    def voter_field(self) -> str:
        """Value of 2.16.76.1.3.5: 12 + 3 + 4 + 22 characters (zeros when absent)."""
        if not self.voter_id:
            return "0" * 19
        return (_digits(self.voter_id, 12) + _digits(self.voter_zone, 3)
                + _digits(self.voter_section, 4) + self.voter_city.ljust(22)[:22])


@dataclass(frozen=True)
class CompanyData:
    name: str
    cnpj: str
    email: str
    responsible: PersonData
    city: str = "Sao Paulo"
    state: str = "SP"
    cei: str = ""


@dataclass
class IssuedCertificate:
    certificate: x509.Certificate
    key: rsa.RSAPrivateKey

    @property
    def der(self) -> bytes:
        return self.certificate.public_bytes(serialization.Encoding.DER)

    @property
    def pem(self) -> str:
        return self.certificate.public_bytes(serialization.Encoding.PEM).decode("ascii")

    @property
    def serial_hex(self) -> str:
        return format(self.certificate.serial_number, "X")

    @property
    def issuer_text(self) -> str:
        return self.certificate.issuer.rfc4514_string()

    @property
    def subject_cn(self) -> str:
        values = self.certificate.subject.get_attributes_for_oid(NameOID.COMMON_NAME)
        return str(values[0].value) if values else ""

    @property
    def fingerprint_sha1(self) -> str:
        return hashlib.sha1(self.der).hexdigest()


# ---------------------------------------------------------------- authorities

def _now() -> datetime.datetime:
    return datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)


def _name(*pairs: tuple[x509.ObjectIdentifier, str]) -> x509.Name:
    return x509.Name([x509.NameAttribute(oid, value) for oid, value in pairs])


def _serial() -> int:
    # Positive, 16 bytes, first bit clear.
    return int.from_bytes(secrets.token_bytes(16), "big") >> 1


def _ski(key: rsa.RSAPrivateKey) -> x509.SubjectKeyIdentifier:
    return x509.SubjectKeyIdentifier.from_public_key(key.public_key())


class SandboxPki:
    """The sandbox's authorities, with their certificates cached on disk."""

    def __init__(self, directory: Path) -> None:
        self.directory = directory
        directory.mkdir(parents=True, exist_ok=True)
        self.keys = KeyStore(directory / "keys")
        self._lock = threading.RLock()
        self.root = self._ca_certificate(
            "root", "AC Raiz Sandbox Orvane v1",
            ou="Sandbox Orvane - somente para testes", issuer=None, path_length=1)
        self.issuing_ca = self._ca_certificate(
            "issuing-ca", "AC Sandbox Orvane RFB",
            ou="Secretaria da Receita Federal do Brasil - RFB", issuer=self.root, path_length=0)
        self.tls_ca = self._ca_certificate(
            "tls-ca", "AC Sandbox Orvane TLS",
            ou="Sandbox Orvane - somente para testes", issuer=None, path_length=0)
        self.server = self._server_certificate()

    # -- files the outside world reads
    @property
    def tls_ca_path(self) -> Path:
        return self.directory / "tls-ca.pem"

    @property
    def icp_chain_path(self) -> Path:
        return self.directory / "icp-chain.pem"

    @property
    def server_cert_path(self) -> Path:
        return self.directory / "server.pem"

    @property
    def server_key_path(self) -> Path:
        return self.directory / "keys" / "server.key.pem"

    def write_public_files(self) -> None:
        write_atomic(self.tls_ca_path, self.tls_ca.pem.encode("ascii"), 0o644)
        write_atomic(self.icp_chain_path,
                     (self.issuing_ca.pem + self.root.pem).encode("ascii"), 0o644)
        write_atomic(self.server_cert_path,
                     (self.server.pem + self.tls_ca.pem).encode("ascii"), 0o644)
        # Make sure the server key file exists under its fixed name.
        self.keys.key("server")

    # -- cached certificates
    def _cert_path(self, name: str) -> Path:
        safe = re.sub(r"[^A-Za-z0-9_.-]", "_", name)
        return self.directory / "certs" / f"{safe}.pem"

    def cached_certificate(self, name: str,
                           build: Callable[[rsa.RSAPrivateKey], x509.Certificate]) -> IssuedCertificate:
        """The certificate stored under ``name``, or a new one from ``build`` with key ``name``."""
        with self._lock:
            key = self.keys.key(name)
            path = self._cert_path(name)
            if path.exists():
                certificate = x509.load_pem_x509_certificate(path.read_bytes())
                if certificate.public_key().public_numbers() == key.public_key().public_numbers():
                    return IssuedCertificate(certificate, key)
            certificate = build(key)
            write_atomic(path, certificate.public_bytes(serialization.Encoding.PEM), 0o644)
            return IssuedCertificate(certificate, key)

    def _ca_certificate(self, name: str, cn: str, ou: str,
                        issuer: Optional[IssuedCertificate], path_length: int) -> IssuedCertificate:
        def build(key: rsa.RSAPrivateKey) -> x509.Certificate:
            subject = _name((NameOID.COUNTRY_NAME, "BR"), (NameOID.ORGANIZATION_NAME, "ICP-Brasil"),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, ou), (NameOID.COMMON_NAME, cn))
            now = _now()
            signer_key = issuer.key if issuer else key
            builder = (x509.CertificateBuilder()
                       .subject_name(subject)
                       .issuer_name(issuer.certificate.subject if issuer else subject)
                       .public_key(key.public_key())
                       .serial_number(_serial())
                       .not_valid_before(now - datetime.timedelta(days=1))
                       .not_valid_after(now + datetime.timedelta(days=3650 if issuer is None else 1825))
                       .add_extension(x509.BasicConstraints(ca=True, path_length=path_length), critical=True)
                       .add_extension(x509.KeyUsage(digital_signature=False, content_commitment=False,
                                                    key_encipherment=False, data_encipherment=False,
                                                    key_agreement=False, key_cert_sign=True, crl_sign=True,
                                                    encipher_only=False, decipher_only=False), critical=True)
                       .add_extension(_ski(key), critical=False)
                       .add_extension(x509.CertificatePolicies([x509.PolicyInformation(
                           x509.ObjectIdentifier("2.16.76.1.1.0"), [CPS_URL])]), critical=False))
            if issuer:
                builder = builder.add_extension(
                    x509.AuthorityKeyIdentifier.from_issuer_public_key(issuer.key.public_key()), critical=False)
            return builder.sign(signer_key, hashes.SHA256())
        return self.cached_certificate(name, build)

    def _server_certificate(self) -> IssuedCertificate:
        def build(key: rsa.RSAPrivateKey) -> x509.Certificate:
            now = _now()
            subject = _name((NameOID.COUNTRY_NAME, "BR"), (NameOID.ORGANIZATION_NAME, "Sandbox Orvane"),
                            (NameOID.COMMON_NAME, "127.0.0.1"))
            return (x509.CertificateBuilder()
                    .subject_name(subject)
                    .issuer_name(self.tls_ca.certificate.subject)
                    .public_key(key.public_key())
                    .serial_number(_serial())
                    .not_valid_before(now - datetime.timedelta(days=1))
                    .not_valid_after(now + datetime.timedelta(days=397))
                    .add_extension(x509.BasicConstraints(ca=False, path_length=None), critical=True)
                    .add_extension(x509.KeyUsage(digital_signature=True, content_commitment=False,
                                                 key_encipherment=True, data_encipherment=False,
                                                 key_agreement=False, key_cert_sign=False, crl_sign=False,
                                                 encipher_only=False, decipher_only=False), critical=True)
                    .add_extension(x509.ExtendedKeyUsage([ExtendedKeyUsageOID.SERVER_AUTH]), critical=False)
                    .add_extension(x509.SubjectAlternativeName([
                        x509.IPAddress(ip_address("127.0.0.1")), x509.IPAddress(ip_address("::1")),
                        x509.DNSName("localhost")]), critical=False)
                    .add_extension(_ski(key), critical=False)
                    .add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(
                        self.tls_ca.key.public_key()), critical=False)
                    .sign(self.tls_ca.key, hashes.SHA256()))
        return self.cached_certificate("server", build)

    # -- end-entity certificates
    def person_certificate(self, name: str, person: PersonData, kind_label: str = "RFB e-CPF A3",
                           policy: str = POLICY_A3) -> IssuedCertificate:
        """An e-CPF for ``person`` whose key is stored under ``name``."""
        def build(key: rsa.RSAPrivateKey) -> x509.Certificate:
            subject = _name((NameOID.COUNTRY_NAME, "BR"), (NameOID.ORGANIZATION_NAME, "ICP-Brasil"),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, "Secretaria da Receita Federal do Brasil - RFB"),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, kind_label),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, "(EM BRANCO)"),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, "AR Sandbox Orvane"),
                            (NameOID.COMMON_NAME, f"{person.name}:{person.cpf}"))
            alt_names = [
                x509.RFC822Name(person.email),
                other_name(OID_PERSON_DATA, person.person_field()),
                other_name(OID_PERSON_VOTER, person.voter_field()),
                other_name(OID_PERSON_CEI, _digits(person.cei, 12)),
            ]
            return self._end_entity(key, subject, alt_names, policy)
        return self.cached_certificate(name, build)

    def company_certificate(self, name: str, company: CompanyData, kind_label: str = "RFB e-CNPJ A3",
                            policy: str = POLICY_A3) -> IssuedCertificate:
        """An e-CNPJ for ``company`` whose key is stored under ``name``."""
        def build(key: rsa.RSAPrivateKey) -> x509.Certificate:
            subject = _name((NameOID.COUNTRY_NAME, "BR"), (NameOID.STATE_OR_PROVINCE_NAME, company.state),
                            (NameOID.LOCALITY_NAME, company.city), (NameOID.ORGANIZATION_NAME, "ICP-Brasil"),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, "Secretaria da Receita Federal do Brasil - RFB"),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, kind_label),
                            (NameOID.ORGANIZATIONAL_UNIT_NAME, "AR Sandbox Orvane"),
                            (NameOID.COMMON_NAME, f"{company.name}:{company.cnpj}"))
            alt_names = [
                other_name(OID_COMPANY_PERSON_DATA, company.responsible.person_field()),
                other_name(OID_COMPANY_RESPONSIBLE, company.responsible.name),
                other_name(OID_COMPANY_CNPJ, company.cnpj),
                other_name(OID_COMPANY_CEI, _digits(company.cei, 12)),
                x509.RFC822Name(company.email),
            ]
            return self._end_entity(key, subject, alt_names, policy)
        return self.cached_certificate(name, build)

    def _end_entity(self, key: rsa.RSAPrivateKey, subject: x509.Name,
                    alt_names: list[x509.GeneralName], policy: str) -> x509.Certificate:
        now = _now()
        return (x509.CertificateBuilder()
                .subject_name(subject)
                .issuer_name(self.issuing_ca.certificate.subject)
                .public_key(key.public_key())
                .serial_number(_serial())
                .not_valid_before(now - datetime.timedelta(hours=1))
                .not_valid_after(now + datetime.timedelta(days=3 * 365))
                .add_extension(x509.KeyUsage(digital_signature=True, content_commitment=True,
                                             key_encipherment=True, data_encipherment=False,
                                             key_agreement=False, key_cert_sign=False, crl_sign=False,
                                             encipher_only=False, decipher_only=False), critical=True)
                .add_extension(x509.CertificatePolicies([x509.PolicyInformation(
                    x509.ObjectIdentifier(policy), [CPS_URL])]), critical=False)
                .add_extension(x509.ExtendedKeyUsage([ExtendedKeyUsageOID.CLIENT_AUTH,
                                                      ExtendedKeyUsageOID.EMAIL_PROTECTION]), critical=False)
                .add_extension(x509.BasicConstraints(ca=False, path_length=None), critical=False)
                .add_extension(x509.SubjectAlternativeName(alt_names), critical=False)
                .add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(
                    self.issuing_ca.key.public_key()), critical=False)
                .add_extension(_ski(key), critical=False)
                .sign(self.issuing_ca.key, hashes.SHA256()))

    def sign_document(self, data: bytes) -> bytes:
        """The server's own signature on an answer's contentData (made with the TLS server key)."""
        return sign_data(self.server.key, data)
