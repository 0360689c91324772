#!/usr/bin/env python3
"""Opens the pages that the command writes in a headless browser: what they show at which width, in the
light, in the dark and on paper, with the keyboard, without scripts; and how the page about many devices
sorts and filters.

usage: pages_test.py TOOL [FOLDER]    keeps the pages, and screenshots of them, in FOLDER
"""
import json
import os
import pathlib
import plistlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # no file is to be left in the sources
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "testing"))
import browser as browsers  # noqa: E402

HOSTILE = "<script>document.title='hacked'</script>\" onmouseover=\"document.title='hacked'"

# The elements whose text is too faint on what lies behind it: less than 4.5 to 1.
FAINT = """(() => {
  const numbers = colour => colour.match(/[0-9.]+/g).map(Number);
  const light = colour => {
    const [r, g, b] = numbers(colour).slice(0, 3).map(part => {
      const share = part / 255;
      return share <= 0.03928 ? share / 12.92 : ((share + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const behind = element => {
    for (; element; element = element.parentElement) {
      const colour = getComputedStyle(element).backgroundColor;
      const [, , , opacity = 1] = numbers(colour);
      if (opacity > 0.99) return colour;
    }
    return 'rgb(255, 255, 255)';
  };
  const faint = [];
  for (const element of document.body.querySelectorAll('*')) {
    const text = [...element.childNodes].filter(node => node.nodeType === 3)
                                        .map(node => node.data.trim()).join('');
    if (!text || !element.checkVisibility() || ['SCRIPT', 'OPTION'].includes(element.tagName)) continue;
    const [a, b] = [light(getComputedStyle(element).color), light(behind(element))];
    const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    if (contrast < 4.5) faint.push(`${text.slice(0, 40)}: ${contrast.toFixed(2)}`);
  }
  return faint;
})()"""

# The devices whose rows are shown.
ROOTS = """[...document.querySelectorAll('#list tbody tr')].filter(row => !row.hidden)
                                                  .map(row => row.cells[0].dataset.value)"""


def results():
    """Lines of a results file: root, outcome, version, finding, milliseconds."""
    devices = [("/srv/b", "done", 7, [], 20.5), ("/srv/a", "done", 0, [], 3),
               ("/srv/c", "refused", 0, ["unreadable", "wrong-owner"], 100),
               ("/srv/" + HOSTILE, "nothing-to-do", 12, [], 0.4), ("/srv/d", "crashed", None, [], 9)]
    for root, outcome, version, findings, time in devices:
        line = {"format": "accountsettings.result", "formatVersion": 1, "command": "migrate",
                "root": root, "outcome": outcome, "findings": findings,
                "status": {"refused": 3, "crashed": 3}.get(outcome, 0),
                "startedAt": "2026-11-22T04:30:55.123456Z", "milliseconds": time}
        if version is not None:
            line["fromVersion"] = version
        yield json.dumps(line) + "\n"


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(FOLDER or cls.scratch.name)
        device = str(cls.folder / "device")
        cls.run_tool("sample", device, "--release", "oldest")
        cls.run_tool("report", "--root", device, "--html", cls.at("planned.html"))
        cls.run_tool("report", "--root", cls.make_broken_device(), "--html", cls.at("broken.html"))
        cls.run_tool("migrate", "--root", device, "--accept-loss")
        cls.run_tool("set", "--root", device, "5A0DE000-0003-4000-8000-000000000001",
                     "DisplayName", HOSTILE)
        cls.run_tool("report", "--root", device, "--html", cls.at("device.html"), "--reveal")
        pathlib.Path(cls.at("results")).write_text("".join(results()), encoding="utf-8")
        cls.run_tool("report", "--results", cls.at("results"), "--html", cls.at("fleet.html"))
        cls.browser = browsers.Browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()
        cls.scratch.cleanup()

    @classmethod
    def make_broken_device(cls):
        """A device with findings about accounts, and a legacy file that cannot be read."""
        account = {"Identifier": "one", "Type": "Mail", "Class": "IMAPAccount"}
        files = {"Preferences/com.zelqo.accountsettings.plist": plistlib.dumps(
                     {"Version": 12, "Accounts": [account, account, {"Identifier": "two", "Type": "Mail"}]}),
                 "Mail/Accounts.plist": b"bplist00 and nothing more that could be read"}
        library = cls.folder / "broken/var/mobile/Library"
        for name, content in files.items():
            (library / name).parent.mkdir(parents=True)
            (library / name).write_bytes(content)
        return str(cls.folder / "broken")

    @classmethod
    def at(cls, name):
        return str(cls.folder / name)

    @classmethod
    def run_tool(cls, *arguments):
        subprocess.run([TOOL, *arguments], check=True, stdout=subprocess.DEVNULL)

    def setUp(self):
        self.browser.size(1200, 900)
        self.browser.medium()
        self.browser.scripts(True)

    def open(self, name, fragment=""):
        self.browser.open(self.at(name), fragment)

    def roots(self):
        return self.browser.value(ROOTS)

    def test_pages_ask_the_network_for_nothing_and_run_no_foreign_script(self):
        for name, scripts in (("planned.html", 0), ("device.html", 0), ("broken.html", 0), ("fleet.html", 1)):
            with self.subTest(name):
                self.open(name)
                self.assertEqual(len(self.browser.requests), 1, self.browser.requests)
                self.assertEqual(self.browser.console, [])
                self.assertEqual(self.browser.value("document.scripts.length"), scripts)
                self.assertNotIn("hacked", self.browser.value("document.title"))

    def test_pages_fit_and_are_legible(self):
        for name in ("planned.html", "device.html", "broken.html", "fleet.html"):
            self.open(name)
            for scheme, width in (("light", 1200), ("dark", 390)):
                with self.subTest(name, scheme=scheme, width=width):
                    self.browser.size(width, 900)
                    self.browser.medium(scheme=scheme)
                    self.assertLessEqual(self.browser.value("document.documentElement.scrollWidth"), width)
                    self.assertEqual(self.browser.value(FAINT), [])
                    if FOLDER:
                        self.browser.screenshot(self.at(f"{name}-{scheme}.png"))

    def test_on_paper_everything_is_there(self):
        self.open("device.html")
        closed = ("[...document.querySelectorAll('details:not([open]) .inside')]"
                  ".filter(each => each.checkVisibility()).length")
        self.assertEqual(self.browser.value(closed), 0)
        self.browser.medium("print", "dark")
        self.assertGreater(self.browser.value(closed), 5)
        self.assertEqual(self.browser.value("getComputedStyle(document.body).backgroundColor"),
                         "rgb(255, 255, 255)")
        self.assertEqual(self.browser.value(FAINT), [])
        if FOLDER:
            self.browser.screenshot(self.at("device-print.png"))

    def test_lines_lead_from_the_account_to_what_it_became(self):
        self.open("device.html")
        lines = self.browser.value("""(() => {
          const middles = side => [...document.querySelectorAll(`.${side} .account`)].map(each => {
            const box = each.getBoundingClientRect();
            return [Math.round(box.y + box.height / 2), each.getAttribute('href')];
          });
          const before = middles('before'), after = middles('after');
          const at = (list, y) => list.find(each => Math.abs(each[0] - y) <= 2)?.[1];
          return [...document.querySelectorAll('.map path:not(.dropped, .added)')].map(path => {
            const point = share => path.getPointAtLength(share * path.getTotalLength())
                                       .matrixTransform(path.getScreenCTM()).y;
            return [at(before, point(0)), at(after, point(1))];
          });
        })()""")
        self.assertEqual(len(lines), 10)
        for start, end in lines:
            self.assertIsNotNone(start)
            # Both rows of a pair lead to one place.
            self.assertEqual(start, end)

    def test_the_keyboard_reaches_the_accounts(self):
        self.open("device.html")
        self.browser.press("Tab")
        self.assertEqual(self.browser.value("document.activeElement.className"), "skip")
        self.assertGreaterEqual(
            self.browser.value("document.activeElement.getBoundingClientRect().x"), 0)
        self.browser.value("document.querySelector('.before .account').focus()")
        self.browser.press("Enter", "\r")
        self.assertGreater(self.browser.value(
            "document.querySelector(location.hash).getBoundingClientRect().height"), 0)
        self.assertTrue(self.browser.value("document.querySelector(location.hash).checkVisibility()"))

    def test_the_table_is_sorted_by_a_click_and_by_a_key(self):
        self.open("fleet.html")
        # Those that need a person come first.
        self.assertEqual(self.roots()[:2], ["/srv/d", "/srv/c"])
        self.browser.click("th[data-key=took] button")
        self.assertEqual(self.roots(),
                         ["/srv/" + HOSTILE, "/srv/a", "/srv/d", "/srv/b", "/srv/c"])
        self.assertEqual(self.browser.value("document.querySelector('th[data-key=took]').ariaSort"),
                         "ascending")
        self.browser.press("Enter", "\r")
        self.assertEqual(self.roots()[0], "/srv/c")
        self.assertEqual(self.browser.value("location.hash"), "#sort=-took")
        self.browser.click("th[data-key=version] button")
        # As numbers, the one without a version last.
        self.assertEqual(self.roots()[2:], ["/srv/b", "/srv/" + HOSTILE, "/srv/d"])
        self.assertEqual(self.browser.value("document.querySelectorAll('[aria-sort]').length"), 1)

    def choose(self, field, value):
        self.browser.value(f"""(field => {{
          field.value = {json.dumps(value)};
          field.dispatchEvent(new Event('input', {{bubbles: true}}));
        }})(document.getElementById('{field}'))""")

    def test_the_table_is_filtered(self):
        self.open("fleet.html")
        self.choose("outcome", "done")
        self.assertEqual(self.roots(), ["/srv/b", "/srv/a"])
        self.assertEqual(self.browser.value("document.getElementById('count').textContent"),
                         "2 of 5 devices are shown.")
        self.choose("version", "0")
        self.assertEqual(self.roots(), ["/srv/a"])
        self.browser.click("button[type=reset]")
        # The browser empties the fields after the click.
        self.assertEqual(self.browser.value(
            "new Promise(done => setTimeout(() => done(location.hash), 20))"), "")
        self.assertEqual(len(self.roots()), 5)
        self.choose("finding", "wrong-owner")
        self.assertEqual(self.roots(), ["/srv/c"])
        self.choose("finding", "")
        self.browser.click("#text")
        self.browser.type("RV/D")
        self.assertEqual(self.roots(), ["/srv/d"])

    def test_what_was_chosen_can_be_passed_on(self):
        self.open("fleet.html", "#outcome=done&sort=root")
        self.assertEqual(self.roots(), ["/srv/a", "/srv/b"])
        self.assertEqual(self.browser.value("document.getElementById('outcome').value"), "done")

    def test_without_scripts_all_devices_are_there(self):
        self.browser.scripts(False)
        self.open("fleet.html")
        self.browser.scripts(True)
        self.assertEqual(len(self.roots()), 5)
        self.assertFalse(self.browser.value("document.querySelector('form').checkVisibility()"))
        self.assertEqual(self.browser.value("document.querySelectorAll('th button').length"), 0)


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv[1])
    FOLDER = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else None
    if not browsers.is_installed():
        print("NOT RUN: the pages in a browser (no chromium-headless-shell here)")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
