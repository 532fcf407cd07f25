"""The phone simulator: a page that shows what each phone is being asked.

``GET /phone`` (optionally ``?device=<code>`` for one phone) serves the page;
it polls ``GET /phone/api/requests`` every 1.5 s and answers with
``POST /phone/api/requests/<id>/approve`` or ``/deny``. The list is redrawn
only when it changed, so buttons stay put between refreshes.
"""
from __future__ import annotations

from typing import Any

from .httpcore import Request, Response, Router
from .state import SandboxState

KIND_LABELS = {"A": "Autorizar computador", "M": "Manutenção de dispositivos", "S": "Assinatura digital"}


class PhoneSimulator:
    def __init__(self, state: SandboxState) -> None:
        self.state = state

    def register(self, router: Router) -> None:
        router.add("GET", r"/phone/?", self.page, faultable=False)
        router.add("GET", r"/phone/api/requests", self.requests, faultable=False)
        router.add("POST", r"/phone/api/requests/(?P<id>[^/]+)/(?P<action>approve|deny)", self.answer,
                   faultable=False)

    def page(self, request: Request) -> Response:
        return Response(200, PAGE.encode("utf-8"), content_type="text/html; charset=utf-8",
                        headers=[("Cache-Control", "no-store")])

    def requests(self, request: Request) -> Response:
        only = (request.query.get("device") or [None])[0]
        with self.state.lock:
            self.state.settle_all()
            phones: list[dict[str, Any]] = []
            for identity in self.state.identities.values():
                for device in self.state.identity_devices(identity):
                    if only and device.code != only:
                        continue
                    mine = [r for r in self.state.requests.values() if r.device == device.code]
                    pending = [self._describe(r) for r in mine if r.state == "pending"]
                    recent = sorted((r for r in mine if r.state != "pending"),
                                    key=lambda r: r.answered or 0, reverse=True)[:3]
                    phones.append({"deviceCode": device.code, "deviceName": device.name,
                                   "owner": identity.display_name, "pending": pending,
                                   "recent": [self._describe(r) for r in recent]})
            return Response.json(200, {"phones": phones}, extra=[("Cache-Control", "no-store")])

    def _describe(self, phone_request: Any) -> dict[str, Any]:
        data = phone_request.to_json(self.state)
        data["label"] = KIND_LABELS.get(phone_request.kind, phone_request.kind)
        data["identityShown"] = format_identity(self.state.hierarchies, phone_request.hierarchy,
                                                phone_request.identity_code)
        device = self.state.devices.get(phone_request.device)
        key = next((k for k in device.keys if k.key_name == phone_request.key_name), None) if device else None
        data["keySubject"] = key.issued.subject_cn if key is not None and key.issued is not None else ""
        return data

    def answer(self, request: Request) -> Response:
        with self.state.lock:
            found = self.state.requests.get(request.group("id"))
            if found is None:
                return Response.error(404, "Solicitação desconhecida")
            if found.state != "pending":
                return Response.json(409, dict(found.to_json(self.state), message="Solicitação já respondida"))
            self.state.answer(found, approve=request.group("action") == "approve", by="phone")
            return Response.json(200, found.to_json(self.state))


def format_identity(hierarchies: list[dict[str, Any]], code: str, text: str) -> str:
    """The identity as the agent shows it: each part through its field's mask, parts joined by "-"."""
    hierarchy = next((h for h in hierarchies if h.get("code", "").upper() == code.upper()), None)
    if hierarchy is None or not text:
        return f"{code} {text}".strip()
    shown = []
    for field, part in zip(hierarchy.get("fields", []), text.split("&")):
        mask, out, j = field.get("mask", ""), "", 0
        for symbol in mask:
            if j >= len(part):
                break
            if symbol == "?":
                out += part[j:]
                j = len(part)
                break
            if symbol in "9a*":
                out += part[j]
                j += 1
            else:
                out += symbol
        shown.append(out + part[j:])
    return f"{hierarchy.get('displayName', code)}: {'-'.join(shown)}"


PAGE = """<!DOCTYPE html>
<html lang="pt-BR">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Celulares — Sandbox Orvane</title>
<style>
  body { font-family: "Open Sans", Arial, sans-serif; background: #eceff1; margin: 0; color: #222; }
  header { background: #37474f; color: #fff; padding: 12px 20px; }
  header h1 { font-size: 20px; margin: 0; }
  header p { margin: 4px 0 0; font-size: 13px; color: #cfd8dc; }
  #phones { display: flex; flex-wrap: wrap; gap: 18px; padding: 18px; }
  .phone { width: 300px; min-height: 300px; background: #111; border-radius: 28px; padding: 14px;
           box-shadow: 0 4px 12px rgba(0,0,0,.3); }
  .screen { background: #fafafa; border-radius: 18px; min-height: 280px; padding: 12px; }
  .phone h2 { font-size: 16px; margin: 0; }
  .owner { font-size: 12px; color: #607d8b; margin-bottom: 10px; }
  .req { border: 1px solid #cfd8dc; border-radius: 10px; padding: 10px; margin-bottom: 10px; background: #fff; }
  .req .kind { font-weight: 600; font-size: 14px; }
  .req .detail { font-size: 12px; color: #455a64; word-break: break-all; margin: 4px 0 8px; }
  .req button { border: 0; border-radius: 6px; padding: 8px 14px; font-size: 14px; cursor: pointer; }
  .approve { background: #2e7d32; color: #fff; }
  .deny { background: #c62828; color: #fff; margin-left: 6px; }
  .empty { font-size: 13px; color: #90a4ae; }
  .recent { font-size: 12px; color: #78909c; margin-top: 10px; }
  .approved { color: #2e7d32; } .denied { color: #c62828; } .used { color: #2e7d32; }
</style>
</head>
<body>
<header>
  <h1>Celulares do sandbox</h1>
  <p>Solicitações enviadas pelo Orvane aparecem aqui. Atualização automática.</p>
</header>
<div id="phones"><p class="empty" style="padding:18px">Carregando…</p></div>
<script>
"use strict";
const query = new URLSearchParams(location.search);
const device = query.get("device");
const feed = "/phone/api/requests" + (device ? "?device=" + encodeURIComponent(device) : "");
let lastText = "";

function el(tag, cls, text) {
  const e = document.createElement(tag);
  if (cls) e.className = cls;
  if (text !== undefined) e.textContent = text;
  return e;
}

function detailOf(r) {
  const who = r.desktopName ? "Computador: " + r.desktopName : "Computador sem nome";
  if (r.kind === "S") {
    return [who, "Certificado: " + (r.keySubject || r.keyName), r.hashAlgorithm + ": " + r.hashContent];
  }
  return [who, r.identityShown];
}

const stateLabels = {approved: "aprovada", denied: "recusada", used: "utilizada"};

function render(data) {
  const root = document.getElementById("phones");
  root.textContent = "";
  for (const phone of data.phones) {
    const box = el("div", "phone");
    box.id = "phone-" + phone.deviceCode;
    const screen = el("div", "screen");
    screen.appendChild(el("h2", null, phone.deviceName));
    screen.appendChild(el("div", "owner", phone.owner));
    if (phone.pending.length === 0) screen.appendChild(el("p", "empty", "Nenhuma solicitação pendente."));
    for (const r of phone.pending) {
      const card = el("div", "req");
      card.id = "request-" + r.id;
      card.dataset.kind = r.kind;
      card.appendChild(el("div", "kind", r.label));
      const detail = el("div", "detail");
      for (const line of detailOf(r)) detail.appendChild(el("div", null, line));
      card.appendChild(detail);
      const ok = el("button", "approve", "Aprovar");
      ok.id = "approve-" + r.id;
      ok.onclick = () => answer(r.id, "approve");
      const no = el("button", "deny", "Recusar");
      no.id = "deny-" + r.id;
      no.onclick = () => answer(r.id, "deny");
      card.appendChild(ok);
      card.appendChild(no);
      screen.appendChild(card);
    }
    for (const r of phone.recent) {
      screen.appendChild(el("div", "recent " + r.state, r.label + ": " + (stateLabels[r.state] || r.state)));
    }
    box.appendChild(screen);
    root.appendChild(box);
  }
}

async function refresh() {
  try {
    const reply = await fetch(feed, {cache: "no-store"});
    const text = await reply.text();
    if (text !== lastText) { lastText = text; render(JSON.parse(text)); }
  } catch (e) { /* the sandbox may be restarting */ }
}

async function answer(id, action) {
  for (const b of document.querySelectorAll("#request-" + id + " button")) b.disabled = true;
  await fetch("/phone/api/requests/" + id + "/" + action, {method: "POST"});
  await refresh();
}

refresh();
setInterval(refresh, 1500);
</script>
</body>
</html>
"""
