"""The phone page in headless Chromium: a pending authorisation is approved by a click."""
import os
import sys
import unittest
from pathlib import Path

REPO = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / "tests" / "mock"))
from sandbox_fixture import start_sandbox  # noqa: E402
from screenshot_phone import stage_requests  # noqa: E402  (beside the sandbox, on the path now)

CHROMIUM, DRIVER = "/usr/bin/chromium", "/usr/bin/chromedriver"


@unittest.skipUnless(os.path.exists(CHROMIUM) and os.path.exists(DRIVER), f"skipped: {CHROMIUM} or {DRIVER} is missing")
class PhonePageBrowserTest(unittest.TestCase):
    def test_click_on_approve_authorises_the_computer(self):
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
        from selenium.webdriver.common.by import By
        from selenium.webdriver.support.ui import WebDriverWait

        sandbox = start_sandbox(self)
        page = stage_requests(sandbox)
        request = next(r for r in sandbox.state.requests.values() if r.kind == "A")
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        for argument in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                         "--disable-background-networking", "--disable-component-update", "--window-size=1300,900"):
            options.add_argument(argument)
        browser = webdriver.Chrome(service=Service(DRIVER), options=options)
        self.addCleanup(browser.quit)
        wait = WebDriverWait(browser, 15)

        browser.get(f"{page}?device={request.device}")
        card = wait.until(lambda b: b.find_element(By.CSS_SELECTOR, f"#request-{request.id}"))
        self.assertIn("Autorizar computador", card.text)
        self.assertIn("PC-FINANCEIRO", card.text)
        browser.find_element(By.CSS_SELECTOR, f"#approve-{request.id}").click()
        wait.until(lambda b: request.state != "pending")
        self.assertEqual(request.state, "approved")
        self.assertEqual(request.answered_by, "phone")
        # The page redraws: the request leaves the pending list.
        wait.until(lambda b: not b.find_elements(By.CSS_SELECTOR, f"#request-{request.id}"))
        self.assertEqual(browser.get_screenshot_as_png()[:8], b"\x89PNG\r\n\x1a\n")


if __name__ == "__main__":
    unittest.main()
