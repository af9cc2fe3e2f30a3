#!/usr/bin/env python3
"""Tests the page of "mtlpublish serve" and "mtlpublish report" in Chromium.
usage: page_in_browser.py DIRECTORY_OF_THE_BUILT_PROGRAMS [OPTIONS_OF_UNITTEST]"""

import base64
import contextlib
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from browser import Browser, die_with_parent
from pictured_library import make_library, png

ENTER, TAB = "\ue007", "\ue004"
ROWS = "return document.querySelectorAll('#files tbody tr').length"
NAMES = "return [...document.querySelectorAll('#files tbody th')].map(cell => cell.innerText)"
COUNT = "return document.getElementById('count').innerText"
PICTURES = "return document.querySelectorAll('#files img').length"
LOADED = (
    "return [...document.querySelectorAll('#files img')]"
    ".every(image => (image.scrollIntoView(), image.complete && image.naturalWidth > 0))"
)
# The least contrast of a text with what is behind it.
LEAST_CONTRAST = """
  const numbers = (text) => text.match(/[\\d.]+/g).map(Number);
  const luminance = (rgb) => rgb.slice(0, 3).map((part) => part / 255)
    .map((part) => part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4)
    .reduce((sum, part, i) => sum + part * [0.2126, 0.7152, 0.0722][i], 0);
  function background(element) {
    for (; element; element = element.parentElement) {
      const colour = numbers(getComputedStyle(element).backgroundColor);
      if (colour.length === 3) return colour;
    }
  }
  let least = 21;
  for (const element of document.querySelectorAll("body *:not(script)")) {
    if (![...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim())) continue;
    const [low, high] = [numbers(getComputedStyle(element).color), background(element)]
      .map(luminance).sort((a, b) => a - b);
    least = Math.min(least, (high + 0.05) / (low + 0.05));
  }
  return least;
"""
SHIFT = """
  return new Promise((done) => new PerformanceObserver((list) => {
    done(list.getEntries().reduce((sum, entry) => sum + entry.value, 0));
  }).observe({ type: "layout-shift", buffered: true })
    || setTimeout(() => done(0), 1000));
"""


class PageInBrowser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.library = self.folder / "oak & ash"
        self.library.mkdir()
        self.browser.complaints()
        self.browser.requests()

    @contextlib.contextmanager
    def served(self, folder=None):
        """The address of a server for the folder, which ends with the block."""
        server = subprocess.Popen(
            [PROGRAM, "serve", "--quiet", folder or self.library],
            stdout=subprocess.PIPE,
            text=True,
            preexec_fn=die_with_parent,
        )
        try:
            yield server.stdout.readline().split(" at ")[-1].strip()
        finally:
            server.terminate()
            server.communicate()

    def write(self, name, content=b"1"):
        file = self.library / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)

    def build(self, *options):
        subprocess.run([PROGRAM, "build", "--quiet", *options, self.library], check=True)

    def write_list(self, entries):
        """As no build writes it: with whatever names."""
        lines = b",\n".join(
            b'{"path":' + json.dumps(name, ensure_ascii=False).encode("utf-8", "surrogateescape")
            + b',"download":"%s","size":%d}' % (policy.encode(), size)
            for name, policy, size in entries
        )
        self.write("filelist.json", b"[\n" + lines + b"\n]\n")
        self.write("id.txt", b"<script>window.ran = 1</script>\n")

    def show(self, url):
        """Opens a page that has to be in order."""
        self.browser.open(url)
        self.assertEqual(self.browser.run("return document.readyState"), "complete")
        self.assertNotIn("needs the script", self.browser.run(COUNT))

    def expect_pictures(self, count):
        self.assertEqual(self.browser.run(PICTURES), count)
        self.browser.wait_until(LOADED)

    def expect_nothing_from_elsewhere(self, url):
        """And no complaint of the browser."""
        own = url.rsplit("/", 1)[0] + "/"
        asked = self.browser.requests()
        self.assertIn(url, asked)
        for address in asked:
            self.assertTrue(address.startswith((own, "data:,")), address)
        self.assertEqual(self.browser.complaints(), [])

    def pictures_of_every_kind(self):
        make = "const canvas = document.createElement('canvas'); return canvas.toDataURL(arguments[0])"
        self.browser.open("about:blank")
        for kind in ("jpeg", "webp"):
            text = self.browser.run(make, f"image/{kind}")
            self.assertTrue(text.startswith(f"data:image/{kind}"))
            self.write(f"previews/a.{kind}", base64.b64decode(text.split(",")[1]))
        self.write("previews/b.JPG", (self.library / "previews/a.jpeg").read_bytes())
        self.write("previews/50% #1 é?.png", png((200, 100, 50)))
        self.write(
            "previews/a.gif",
            base64.b64decode("R0lGODlhAQABAIAAAAAAAP///ywAAAAAAQABAAACAUwAOw=="),
        )
        self.write(
            "previews/a.svg",
            b'<svg xmlns="http://www.w3.org/2000/svg" width="9" height="9">'
            b"<script>parent.ran = 1</script><rect width='9' height='9'/></svg>",
        )
        return 6

    def test_is_shown_by_the_server(self):
        count = self.pictures_of_every_kind()
        self.write("oak.mat", b"1234")
        self.build("--allow", "windows-names")
        with self.served() as url:
            self.show(url)
            self.assertEqual(
                self.browser.run("return document.title"), "oak & ash – material library"
            )
            self.assertRegex(self.browser.run(COUNT), rf"^{count + 1} of {count + 1} files, ")
            self.expect_pictures(count)
            self.expect_nothing_from_elsewhere(url)

    def test_is_a_file_to_publish_and_to_open(self):
        count = self.pictures_of_every_kind()
        self.build("--allow", "windows-names")
        published = self.folder / "published"
        shutil.copytree(self.library, published)
        page = published / "index.html"
        subprocess.run([PROGRAM, "report", "--output", page, self.library], check=True)
        with self.served(published) as url:
            self.show(url)
            self.assertEqual(
                self.browser.run("return document.title"), "oak & ash – material library"
            )
            self.expect_pictures(count)
            self.expect_nothing_from_elsewhere(url)
        self.show(page.as_uri())
        self.expect_pictures(count)
        self.expect_nothing_from_elsewhere(page.as_uri())

    def test_shows_a_view(self):
        self.write("previews/oak.png", png((200, 100, 50)))
        self.write("other.png", b"no picture")
        self.build()
        entry = b'[{"path":"previews/oak.png","download":"always","size":1}]\n'
        self.write("views/beta/filelist.json", entry)
        self.write("views/beta/id.txt")
        with self.served() as url:
            self.show(url + "views/beta/")
            self.assertRegex(self.browser.run(COUNT), "^1 of 1 file, ")
            self.expect_pictures(1)
            self.assertEqual(self.browser.complaints(), [])

    def test_finds_files(self):
        make_library(self.library, 60, 0)
        self.write("Über/Oak.TX")
        self.build("--missing", "maps/*", "--never", "*/ash/*")
        with self.served() as url:
            self.show(url)
            self.assertRegex(self.browser.run(COUNT), "^121 of 121 files, ")
            self.browser.type("#search", "OAK 00 maps")
            self.assertRegex(self.browser.run(COUNT), "^6 of 121 files, ")
            self.assertEqual(self.browser.run(ROWS), 6)
            self.assertEqual(self.browser.run(NAMES)[0], "maps/oak/oak 001.tx")
            self.browser.clear("#search")
            self.browser.type("#search", "U\u0308BER")
            self.assertEqual(self.browser.run(NAMES), ["Über/Oak.TX"])
            self.browser.type("#search", "no such file")
            self.assertEqual(self.browser.run(COUNT), "0 of 121 files, 0 bytes")
            self.assertEqual(self.browser.run(ROWS), 0)
            self.browser.clear("#search")
            for kind, count in ("missing", 54), ("never", 12), ("always", 55), ("pictures", 0):
                self.browser.click(f"#kind [value={kind}]")
                self.assertRegex(self.browser.run(COUNT), f"^{count} of 121 files, ")
            self.expect_nothing_from_elsewhere(url)

    def test_shows_what_the_last_build_changed(self):
        for name in ("kept", "gone", "other"):
            self.write(name)
        self.build()
        (self.library / "gone").unlink()
        self.write("other", b"12")
        self.write("added", b"123")
        self.build()
        with self.served() as url:
            self.show(url)
            self.browser.click("#kind [value=changed]")
            self.assertEqual(self.browser.run(NAMES), ["addednew", "otherchanged"])
            texts = "return [...document.querySelectorAll('summary')].map(one => one.innerText)"
            self.assertEqual(self.browser.run(texts), ["1 added", "1 changed", "1 removed"])

    def test_shows_thousands_of_files_a_batch_at_a_time(self):
        self.write_list((f"maps/oak {i:05}.tx", "always", i) for i in range(30000))
        with self.served() as url:
            self.show(url)
            self.assertRegex(self.browser.run(COUNT), "^30,000 of 30,000 files, ")
            self.assertEqual(self.browser.run(ROWS), 100)
            took = self.browser.run(
                "const search = document.getElementById('search'), begin = performance.now();"
                "search.value = 'oak 7'; search.dispatchEvent(new Event('input'));"
                "document.body.offsetHeight; return performance.now() - begin"
            )
            size = self.browser.run("return document.documentElement.outerHTML.length")
            print(f"30,000 files: page of {size / 1e6:.2f} MB, a search takes {took:.0f} ms")
            found = sum("7" in f"{i:05}" for i in range(30000))
            self.assertRegex(self.browser.run(COUNT), f"^{found:,} of 30,000 files, ")
            self.assertEqual(self.browser.run(ROWS), 100)
            self.browser.click("#more")
            self.assertEqual(self.browser.run(ROWS), 200)
            place = "return [...document.activeElement.parentNode.children].indexOf(document.activeElement)"
            self.assertEqual(self.browser.run(place), 100)
            self.expect_nothing_from_elsewhere(url)

    def test_says_sizes_as_the_program_does(self):
        sizes = [0, 1, 2, 999, 1000, 1049, 1050, 999949, 999950, 10**9 - 50001, 10**9 - 50000, 10**13]
        # Ten folders are shown.
        for part in sizes[:6], sizes[6:]:
            self.write_list((f"{size}/x", "always", size) for size in part)
            with self.served() as url:
                self.show(url)
                for selector in "#files tbody tr", "section:not(:has(#files)) tbody tr:has(th)":
                    rows = self.browser.run(
                        "return [...document.querySelectorAll(arguments[0])].map(row =>"
                        " [parseInt(row.querySelector('th').innerText), row.lastChild.innerText])",
                        selector,
                    )
                    shown = {size: text for size, text in rows if size is not None}
                    self.assertEqual(sorted(shown), sorted(part))
                    table = shown if selector.startswith("#") else table
                    self.assertEqual(shown, table)

    def test_runs_nothing_that_a_name_says(self):
        names = [
            "</script><script>window.ran = 1</script>",
            "<img src=x onerror='window.ran = 1'>",
            "\"><svg onload=window.ran=1>",
            "' onmouseover='window.ran = 1",
            "javascript:window.ran=1",
            "data:text/html,<script>window.ran = 1</script>",
            "//elsewhere.example/x",
            "../outside",
            "\u202egnp.exe",
            "\u05d0\u05d1/\u05d2.mat",
            "bytes\udcff\udcc3",
            "a\u2028b",
            "`${window.ran = 1}`",
        ]
        self.write_list((name, "always", 1) for name in names)
        with self.served() as url:
            self.show(url)
            self.assertEqual(self.browser.run(ROWS), len(names))
            shown = self.browser.run(NAMES)
            for name in names[:5]:
                self.assertIn(name, shown)
            for hidden in ("\\xE2\\x80\\xAEgnp.exe", "bytes\\xFF\\xC3", "a\\xE2\\x80\\xA8b"):
                self.assertIn(hidden, shown)
            links = self.browser.run(
                "return [...document.querySelectorAll('#files a')].map(link => link.href)"
            )
            self.assertEqual(len(links), len(names))
            for link in links:
                self.assertTrue(link.startswith(url), link)
            self.assertIsNone(self.browser.run("return window.ran"))
            self.expect_nothing_from_elsewhere(url)

    def test_lets_nothing_else_run_or_load(self):
        self.build()
        with self.served() as url:
            self.show(url)
            self.browser.run(
                "window.refused = [];"
                "addEventListener('securitypolicyviolation', e => refused.push(e.effectiveDirective));"
                "const add = (tag, set) => document.body.append(Object.assign(document.createElement(tag), set));"
                "add('script', {text: 'window.ran = 1'});"
                "add('img', {src: 'http://127.0.0.2:9/x.png'});"
                "add('iframe', {src: 'http://127.0.0.2:9/'});"
                "document.body.setAttribute('onclick', 'window.ran = 1');"
                "document.body.click();"
                "fetch('id.txt').catch(() => 0);"
            )
            # Each is refused by the answer's header and by the page.
            self.browser.wait_until("return refused.length >= 10")
            self.assertEqual(
                sorted(self.browser.run("return refused")),
                sorted(
                    2 * ["connect-src", "frame-src", "img-src", "script-src-attr", "script-src-elem"]
                ),
            )
            self.assertIsNone(self.browser.run("return window.ran"))

    def test_can_be_used_by_everybody(self):
        make_library(self.library, 20, 2)
        self.write("broken.png", b"no picture")
        self.build()
        with self.served() as url:
            self.show(url)
            self.assertEqual(
                self.browser.role_and_name("#search"), ("searchbox", "Search, by parts of the path")
            )
            self.assertEqual(self.browser.role_and_name("#kind"), ("combobox", "Show"))
            self.assertEqual(
                self.browser.role_and_name("#files"), ("table", "The files that were found")
            )
            self.assertEqual(self.browser.role_and_name("#files tbody th")[0], "rowheader")
            self.assertEqual(self.browser.role_and_name("#count")[0], "status")
            self.assertEqual(self.browser.run("return document.documentElement.lang"), "en")
            levels = self.browser.run(
                "return [...document.querySelectorAll('h1, h2, h3')].map(head => head.tagName)"
            )
            self.assertEqual(levels, ["H1"] + (len(levels) - 1) * ["H2"])
            self.assertEqual(self.browser.run("return document.querySelectorAll('img:not([alt])').length"), 0)

    def test_can_be_used_by_keyboard(self):
        for size in range(1, 5):
            self.write(f"{size}", size * b"1")
        self.build()
        with self.served() as url:
            self.show(url)
            focused = "return document.activeElement.id || document.activeElement.innerText"
            reached = []
            for _ in range(6):
                self.browser.press(TAB)
                reached.append(self.browser.run(focused))
            self.assertEqual(reached, ["filelist.json", "search", "kind", "Path", "Size", "1"])
            self.browser.run("document.querySelector('[data-key=size] button').focus()")
            for expected, names in ("descending", "4321"), ("ascending", "1234"):
                self.browser.press(ENTER)
                self.assertEqual(self.browser.run(NAMES), list(names))
                sorted_by = "return [...document.querySelectorAll('[aria-sort]')].map(head => [head.innerText, head.ariaSort])"
                self.assertEqual(self.browser.run(sorted_by), [["Size", expected]])

    def test_fits_and_can_be_read_on_every_screen(self):
        make_library(self.library, 20, 20)
        self.write("a-name-without-any-place-to-break-it-" + 100 * "x")
        self.build()
        self.write("materials/new.mat")
        self.build()
        with self.served() as url:
            for width, scheme in (320, "light"), (390, "dark"), (1200, "light"), (1200, "dark"):
                with self.subTest(width=width, scheme=scheme):
                    self.browser.resize(width, 800)
                    self.browser.prefer(scheme)
                    self.show(url)
                    self.assertEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
                    self.assertGreaterEqual(self.browser.run(LEAST_CONTRAST), 4.5)
                    self.expect_pictures(20)
                    self.assertEqual(self.browser.run(SHIFT), 0)


if __name__ == "__main__":
    PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve() / "mtlpublish"
    unittest.main(verbosity=2)
