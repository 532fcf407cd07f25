"""What a fresh sandbox holds: catalogue, identities with phones, cloud accounts.

Everything here is fictitious. Document numbers carry correct check digits so
that they pass the validators a real service would apply. Codes are derived
from fixed seed names, so a sandbox started again without persistence shows
the same devices, keys and accounts (the key material itself is cached in the
state directory).
"""
from __future__ import annotations

import hashlib
import uuid
from dataclasses import asdict
from typing import Any

from .pki import CompanyData, PersonData

SEED_NAMESPACE = uuid.UUID("6f1c2a7e-3d4b-4e5f-9a8b-0c1d2e3f4a5b")


def cpf_with_check_digits(base9: str) -> str:
    digits = [int(c) for c in base9]
    for length in (9, 10):
        total = sum(d * w for d, w in zip(digits, range(length + 1, 1, -1)))
        digit = (total * 10) % 11
        digits.append(0 if digit == 10 else digit)
    return "".join(map(str, digits))


def cnpj_with_check_digits(base12: str) -> str:
    digits = [int(c) for c in base12]
    for weights in ([5, 4, 3, 2, 9, 8, 7, 6, 5, 4, 3, 2], [6, 5, 4, 3, 2, 9, 8, 7, 6, 5, 4, 3, 2]):
        total = sum(d * w for d, w in zip(digits, weights))
        rest = total % 11
        digits.append(0 if rest < 2 else 11 - rest)
    return "".join(map(str, digits))


def device_code(slug: str) -> str:
    return hashlib.sha1(f"orvane-sandbox-device:{slug}".encode()).hexdigest()


def key_name(slug: str) -> str:
    return str(uuid.uuid5(SEED_NAMESPACE, f"key:{slug}"))


# ---------------------------------------------------------------- catalogue

HIERARCHIES: list[dict[str, Any]] = [
    {"displayName": "Pessoa Física (CPF)", "code": "CPF",
     "fields": [{"mask": "999.999.999-99", "regexValidator": "[0-9]{11}"}]},
    {"displayName": "Pessoa Jurídica (CNPJ)", "code": "CNPJ",
     "fields": [{"mask": "99.999.999/9999-99", "regexValidator": "[0-9]{14}"}]},
    {"displayName": "E-mail cadastrado", "code": "EMAIL",
     "fields": [{"mask": "?", "regexValidator": "[^@\\s]+@[^@\\s]+\\.[^@\\s]+"}]},
    {"displayName": "Empresa e responsável (CNPJ + CPF)", "code": "CNPJ_CPF",
     "fields": [{"mask": "99.999.999/9999-99", "regexValidator": "[0-9]{14}"},
                {"mask": "999.999.999-99", "regexValidator": "[0-9]{11}"}]},
    {"displayName": "Advogado (UF + inscrição OAB)", "code": "OAB",
     "fields": [{"mask": "aa", "regexValidator": "[A-Za-z]{2}"},
                {"mask": "999999", "regexValidator": "[0-9]{3,6}"}]},
]

FUTURE_VERSION = {"availableSince": "2025-03-10", "versionString": "2.4.1"}


# ---------------------------------------------------------------- people and companies

ANA = PersonData(name="ANA BEATRIZ SOUZA LIMA", cpf=cpf_with_check_digits("390533447"),
                 birth_date="14031988", email="ana.lima@exemplo.com.br",
                 pis="12038465471", rg="000000284617395", rg_issuer="SSPSP",
                 voter_id="104587630191", voter_zone="251", voter_section="0117",
                 voter_city="SAO PAULO SP")
CARLOS = PersonData(name="CARLOS EDUARDO PEREIRA", cpf=cpf_with_check_digits("528716394"),
                    birth_date="02111975", email="carlos.pereira@paodourado.com.br",
                    rg="000000063391824", rg_issuer="SSPMG")
MARIANA = PersonData(name="MARIANA COSTA FERREIRA", cpf=cpf_with_check_digits("674210583"),
                     birth_date="27071992", email="mariana.ferreira@exemplo.com.br",
                     rg="000000521774906", rg_issuer="DETRRJ")
JOAO = PersonData(name="JOAO PAULO ALMEIDA", cpf=cpf_with_check_digits("215938467"),
                  birth_date="09051969", email="joao.almeida@almeidaadv.adv.br",
                  rg="000000018845273", rg_issuer="SSPPR")
RENATA = PersonData(name="RENATA GOMES OLIVEIRA", cpf=cpf_with_check_digits("803157926"),
                    birth_date="30011981", email="renata.oliveira@horizonteazul.com.br",
                    rg="000000447120385", rg_issuer="SSPSP")

HORIZONTE = CompanyData(name="CONSTRUTORA HORIZONTE AZUL LTDA", cnpj=cnpj_with_check_digits("283419570001"),
                        email="financeiro@horizonteazul.com.br", responsible=RENATA,
                        city="Campinas", state="SP")
PAO_DOURADO = CompanyData(name="PADARIA PAO DOURADO LTDA", cnpj=cnpj_with_check_digits("115826730001"),
                          email="contato@paodourado.com.br", responsible=CARLOS,
                          city="Belo Horizonte", state="MG")


def holder_dict(holder: PersonData | CompanyData) -> dict[str, Any]:
    data = asdict(holder)
    data["kind"] = "company" if isinstance(holder, CompanyData) else "person"
    return data


def holder_from_dict(data: dict[str, Any]) -> PersonData | CompanyData:
    fields = {k: v for k, v in data.items() if k != "kind"}
    if data.get("kind") == "company":
        fields["responsible"] = PersonData(**fields["responsible"])
        return CompanyData(**fields)
    return PersonData(**fields)


def _person_lookups(person: PersonData, *extra: tuple[str, str]) -> list[list[str]]:
    return [["CPF", person.cpf], ["EMAIL", person.email], *[list(e) for e in extra]]


# Identities: each with the ways the catalogue finds it, and its phones.
# A phone lists the holders of the keys it carries (slug, holder).
IDENTITIES: list[dict[str, Any]] = [
    {"slug": "ana", "kind": "person", "displayName": ANA.name, "holder": ANA,
     "lookups": _person_lookups(ANA),
     "phones": [
         {"slug": "ana-galaxy", "name": "Galaxy S23 de Ana", "keys": [("ana-ecpf-1", ANA)]},
         {"slug": "ana-iphone", "name": "iPhone 13 de Ana", "keys": [("ana-ecpf-2", ANA)]},
     ]},
    {"slug": "carlos", "kind": "person", "displayName": CARLOS.name, "holder": CARLOS,
     "lookups": _person_lookups(CARLOS),
     "phones": [
         {"slug": "carlos-moto", "name": "Moto G84",
          "keys": [("carlos-ecpf", CARLOS), ("paodourado-ecnpj", PAO_DOURADO)]},
     ]},
    {"slug": "mariana", "kind": "person", "displayName": MARIANA.name, "holder": MARIANA,
     "lookups": _person_lookups(MARIANA),
     "phones": [
         {"slug": "mariana-redmi", "name": "Redmi Note 12", "keys": [("mariana-ecpf", MARIANA)]},
     ]},
    {"slug": "joao", "kind": "person", "displayName": JOAO.name, "holder": JOAO,
     "lookups": _person_lookups(JOAO, ("OAB", "PR&48213")),
     "phones": [
         {"slug": "joao-iphone", "name": "iPhone 15 Pro", "keys": [("joao-ecpf", JOAO)]},
         {"slug": "joao-tablet", "name": "Galaxy Tab S9", "keys": [("joao-ecpf-2", JOAO)]},
     ]},
    {"slug": "horizonte", "kind": "company", "displayName": HORIZONTE.name, "holder": HORIZONTE,
     "lookups": [["CNPJ", HORIZONTE.cnpj], ["EMAIL", HORIZONTE.email],
                 ["CNPJ_CPF", f"{HORIZONTE.cnpj}&{RENATA.cpf}"]],
     "phones": [
         {"slug": "horizonte-financeiro", "name": "Galaxy A54 Financeiro",
          "keys": [("horizonte-ecnpj-1", HORIZONTE)]},
         {"slug": "horizonte-diretoria", "name": "iPhone 15 Diretoria",
          "keys": [("horizonte-ecnpj-2", HORIZONTE), ("renata-ecpf", RENATA)]},
         {"slug": "horizonte-contabil", "name": "Redmi 13C Contabilidade",
          "keys": [("horizonte-ecnpj-3", HORIZONTE)]},
     ]},
]

# Cloud accounts of the Harrier service.
ACCOUNTS: list[dict[str, Any]] = [
    {"email": "ana.lima@exemplo.com.br", "password": "Sandbox#2024", "name": "Ana Beatriz Souza Lima",
     "accessUrl": "cartorio-central", "organizationName": "Cartório Central de Notas",
     "otp": "246810", "pushCode": False,
     "wallet": [("ana-nuvem-ecpf", ANA, "1234")]},
    {"email": "financeiro@horizonteazul.com.br", "password": "Horizonte#2024", "name": "Renata Gomes Oliveira",
     "accessUrl": "horizonte-azul", "organizationName": "Construtora Horizonte Azul",
     "otp": "135790", "pushCode": True,
     "wallet": [("horizonte-nuvem-ecnpj", HORIZONTE, "4321"), ("renata-nuvem-ecpf", RENATA, "8765")]},
    {"email": "joao.almeida@almeidaadv.adv.br", "password": "Advocacia#2024", "name": "João Paulo Almeida",
     "accessUrl": "almeida-advogados", "organizationName": "Almeida Advogados Associados",
     "otp": "112233", "pushCode": False,
     "wallet": []},
]


def normalise_identity(hierarchy: str, text: str) -> tuple[str, str]:
    """The form under which identities are looked up: code upper-case, e-mail lower-case."""
    code = hierarchy.strip().upper()
    value = text.strip()
    if code == "EMAIL":
        value = value.lower()
    elif code == "OAB":
        value = value.upper()
    return code, value
