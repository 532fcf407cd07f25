"""The phone page in headless Chromium: a pending authorisation is approved by a click."""
from __future__ import annotations

import os
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from sandbox_harness import Agent, SandboxProcess, chromium_available, wait_until  # noqa: E402

ANA_CPF = "39053344705"


@unittest.skipUnless(chromium_available(), "skipped: /usr/bin/chromium or /usr/bin/chromedriver is missing")
class PhonePageBrowserTest(unittest.TestCase):
    def setUp(self) -> None:
        from webdriver import Browser
        self.sandbox = SandboxProcess().start()
        self.addCleanup(self.sandbox.stop)
        self.browser = Browser()
        self.addCleanup(self.browser.close)

    def test_click_on_approve_authorises_the_computer(self) -> None:
        agent = Agent(self.sandbox)
        agent.create()
        identity = {"identityCode": ANA_CPF, "identityType": "CPF"}
        device = agent.signed("requestAuthorization", identity)[1]["devices"][0]
        answer = agent.signed("requestAuthorization",
                              dict(identity, devices=[device["deviceCode"]], tipooperacao="A"))[1]
        request_code = answer["desktopRequestCode"]

        self.browser.get(self.sandbox.info["phone_url"] + "?device=" + device["deviceCode"])
        card = self.browser.wait_for(f"#request-{request_code}")
        self.assertIn("Autorizar computador", self.browser.text(card))
        self.assertIn("PC-TESTE", self.browser.text(card))
        self.browser.click(self.browser.wait_for(f"#approve-{request_code}"))

        state = wait_until(lambda: self.sandbox.admin_get(f"/requests/{request_code}")["state"] != "pending"
                           and self.sandbox.admin_get(f"/requests/{request_code}")["state"])
        self.assertEqual(state, "approved")
        self.assertIs(agent.signed("isAuthorized", {"desktopRequestCode": request_code})[1]["isAuthorized"], True)
        # The page redraws: the request leaves the pending list.
        self.assertTrue(wait_until(lambda: self.browser.find(f"#request-{request_code}") is None))
        png = self.browser.screenshot()
        self.assertEqual(png[:8], b"\x89PNG\r\n\x1a\n")


if __name__ == "__main__":
    unittest.main()
