#!/usr/bin/env python3
"""Looks at pages of `ks2 html` in a headless browser, through chromedriver's HTTP interface.

  html_check.py KS2 CHECK    runs one check (a function below) in the current folder
"""
import json
import os
import re
import subprocess
import sys
import tempfile
import time
import urllib.request
from html import escape

KEYS = {"Escape": "\ue00c", "Tab": "\ue004", "Enter": "\ue007", "Home": "\ue011",
        "ArrowLeft": "\ue012", "ArrowUp": "\ue013", "ArrowRight": "\ue014", "ArrowDown": "\ue015"}
FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--window-size=1280,900"]
ATTACK = "<script>window.hacked=1</script>\"'><img src=x onerror=window.hacked=1>&lt;b&gt;]]&gt;"


# --- reports, with their sums --------------------------------------------------------------------

def quoted(text):
    return escape(text).replace("&#x27;", "&apos;")


def tag(name, text, attributes=""):
    return "<%s%s>%s</%s>\r\n" % (name, attributes, text, name)


def row_of(name, cells):
    """`cells` are (kind, column, value)."""
    total = sum(sum(value.encode("utf-16-le")[::2]) for _, _, value in cells) & 0xFFFF
    body = "".join(tag(kind, quoted(value), ' ID="%s" W="16"' % quoted(column))
                   for kind, column, value in cells)
    body += tag("CHK", "%4X" % total)
    return '<ROW ID="%s">\r\n%s</ROW>\r\n' % (quoted(name), body), total


def table_of(title, columns, rows):
    """`columns` are (kind, name)."""
    made = [row_of("", [(kind, name, value) for (kind, name), value in zip(columns, row)])
            for row in rows]
    total = sum(row_sum for _, row_sum in made) & 0xFFFF
    return '<TABLE ID="%s">\r\n%s%s%s%s</TABLE>\r\n' % (
        quoted(title), tag("COLS", len(columns)), "".join(text for text, _ in made),
        tag("ROWS", len(rows)), tag("CHK", "%4X" % total)), total


def file_of(path, content):
    total = sum(map(ord, content))
    return '<FILE ID="%s">\r\n<![CDATA[%s]]>\r\n%s</FILE>\r\n' % (
        quoted(path), content.replace("]]>", "]]]]><![CDATA[>"), tag("CHK", "%8X" % total)), total


def report_of(sections):
    """`sections` are (title, parts)."""
    text, whole = "", 0
    for title, parts in sections:
        total = sum(part_sum for _, part_sum in parts)
        text += '<SECTION ID="%s">\r\n%s%s</SECTION>\r\n' % (
            quoted(title), "".join(part for part, _ in parts), tag("CHK", "%8X" % total))
        whole += total
    return ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n<GATHERED_DATA>\r\n%s%s%s'
            "</GATHERED_DATA>\r\n" % (tag("GATHERER_VERSION", "2.0.0"), text,
                                      tag("CHK", "%8X" % whole)))


def sample(rows=30):
    mounts = table_of("Mounted Filesystems",
                      [("STR", "Mount Point"), ("ASC", "Capacity (bytes)"),
                       ("ASC", "Used Space (bytes)"), ("STR", "File System")],
                      [("/", "1073741824", "536870912", "ext3"), ("/srv", "4000", "3900", "ext3"),
                       ("/boot", "104857600", "0", "ext2")])
    numbers = table_of("Numbers", [("STR", "Name"), ("DEC", "Count"), ("HEX", "Mask")],
                       [("name %d" % i, str(i * 7919 % 1009), "0x%X" % i) for i in range(rows)])
    log = file_of("/var/log/boot.log", "".join("line %d of the log\n" % i for i in range(1000)))
    summary = table_of("System Summary",
                       [("STR", "Computer Name"), ("ASC", "System Vendor"),
                        ("ASC", "System Model"), ("ASC", "UUID")],
                       [("birch", "ACME", "Anvil 3", "Unknown")])
    return [("SYSTEM SUMMARY", [summary]), ("Partition Information", [mounts]),
            ("NUMBERS", [numbers]), ("LOGS", [log])]


# --- the browser ---------------------------------------------------------------------------------

class Browser:
    def __init__(self):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        self.base = None
        for line in self.driver.stdout:
            if port := re.search(r"successfully on port (\d+)", line):
                self.base = "http://127.0.0.1:" + port[1]
                break
        options = {"args": FLAGS, "binary": "/usr/bin/chromium"}
        answer = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"},
            # Milliseconds that only a browser that hangs takes.
            "timeouts": {"script": 500000, "pageLoad": 500000}}}})
        self.base += "/session/" + answer["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, method=method,
                                         headers={"Content-Type": "application/json"})
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=500) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            sys.exit("%s %s: %s" % (method, path, error.read().decode()[:2000]))

    def open(self, page):
        self.call("POST", "/url", {"url": "file://" + os.path.abspath(page)})
        self.run("navigator.clipboard.writeText = async (text) => { window.copied = text; }")

    def run(self, script):
        return self.call("POST", "/execute/sync", {"script": script, "args": []})

    def cdp(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def press(self, *keys):
        actions = []
        for key in keys:
            actions += [{"type": kind, "value": KEYS.get(key, key)}
                        for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [
            {"type": "key", "id": "keys", "actions": actions}]})

    def click(self, selector):
        self.run("document.querySelector(%s).click()" % json.dumps(selector))

    def search(self, text):
        self.press("Escape", "Escape", "/", *text)  # The second leaves the search box.
        self.press("Enter")

    def until(self, condition, what):
        for _ in range(2400):  # Two minutes: only what never comes takes as long.
            if self.run("return " + condition):
                return
            time.sleep(0.05)
        sys.exit("FAILED: %s (%s)" % (what, condition))

    def column(self, table, number, most=5):
        return self.run("return [...document.querySelectorAll('#%s tbody td:nth-child(%d)')]"
                        ".slice(0, %d).map((cell) => cell.firstChild.data)" % (table, number, most))

    def complaints(self):
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]


def expect(wanted, found, what):
    if wanted != found:
        sys.exit("FAILED: %s: wanted %r, found %r" % (what, wanted, found))


def page_of(sections, name="report", status=0):
    text = sections if isinstance(sections, str) else report_of(sections)
    with open(name + ".xml", "w", encoding="utf-8", newline="") as out:
        out.write(text)
    run = subprocess.run([KS2, "html", name + ".xml", "--force", "-o", name + ".html"],
                         capture_output=True, text=True)
    expect(status, run.returncode, "status of ks2 html: " + run.stderr)
    return name + ".html"


VISIBLE = ("[...document.querySelectorAll('tbody tr')]"
           ".filter((row) => row.checkVisibility({contentVisibilityAuto: false})).length")


LINE_IN_SIGHT = """(() => {
  for (const pre of document.querySelectorAll("#s4f1 pre")) {
    const at = pre.textContent.indexOf("line 999 of");
    if (at < 0 || !pre.checkVisibility({contentVisibilityAuto: true})) continue;
    const range = document.createRange();
    range.setStart(pre.firstChild, at);
    range.setEnd(pre.firstChild, at + 8);
    const place = range.getBoundingClientRect();
    return place.top > 50 && place.bottom < innerHeight;
  }
  return false;
})()"""


# --- the checks ----------------------------------------------------------------------------------

def check_search_and_fold():
    with Browser() as b:
        b.open(page_of(sample()))
        expect("birch", b.run("return document.querySelector('h1').textContent"), "identity")
        total = b.run("return " + VISIBLE)
        b.search("name 0x7")
        b.until(VISIBLE + " === 1", "rows with both words")
        expect("1 match", b.run("return document.getElementById('found').textContent"), "count")
        expect(["NUMBERS30"],
               b.run("return [...document.querySelectorAll('#contents li:not([hidden]) > a')]"
                     ".map((link) => link.textContent)"), "contents while searching")
        expect("TD", b.run("return document.activeElement.tagName"), "Enter goes to a match")
        b.search("LINE 999 OF")
        b.until(LINE_IN_SIGHT, "the line of a folded log, case ignored")
        expect("1 match", b.run("return document.getElementById('found').textContent"), "lines")
        expect(3, b.run("return CSS.highlights.get('found').size"), "words in the line")
        b.search("line 99")
        b.until("document.getElementById('found').textContent.startsWith('1 of ')", "the first")
        b.press(*["Enter"] * 10)
        b.until(LINE_IN_SIGHT, "the last of 11 lines by Enter")
        b.search("nowhere")
        b.until("!document.getElementById('nothing').hidden", "no match")
        b.press("Escape")
        expect(False, b.run("return document.querySelector('#s4f1 details').open"),
               "the log is folded again")
        expect(total, b.run("return " + VISIBLE), "rows after Escape")

        b.click("#s3 summary")
        expect(False, b.run("return document.querySelector('#s3t1').checkVisibility()"), "folded")
        b.search("0x7")
        b.until(VISIBLE + " === 1", "a match in a folded section")
        b.press("Escape")
        expect(False, b.run("return document.querySelector('#s3t1').checkVisibility()"),
               "folded again after the search")
        b.run("location.hash = '#s3t1'")
        b.until("document.querySelector('#s3t1').checkVisibility()", "a link unfolds its target")
        b.click("#fold")
        b.until(VISIBLE + " === 0", "all folded")
        expect([], b.complaints(), "complaints of the browser")


def check_sort():
    with Browser() as b:
        b.open(page_of(sample(250)))
        original = b.column("s3t1", 2, 250)
        b.click("#s3t1 th:nth-child(2) button")
        expect(sorted(original, key=int), b.column("s3t1", 2, 250), "rising numbers over groups")
        b.click("#s3t1 th:nth-child(2) button")
        expect(sorted(original, key=int, reverse=True), b.column("s3t1", 2, 250), "falling numbers")
        b.click("#s3t1 th:nth-child(2) button")
        expect(original, b.column("s3t1", 2, 250), "the report's order")
        b.click("#s3t1 th:nth-child(1) button")
        expect(["name 0", "name 1", "name 2"], b.column("s3t1", 1, 3), "numbers inside names")
        b.search("0xf")
        b.until(VISIBLE + " === 11", "a search in a sorted table")


def check_keyboard_and_copy():
    with Browser() as b:
        b.open(page_of(sample()))
        b.press("Tab")
        expect("skip", b.run("return document.activeElement.className"), "the first stop")
        b.press("Enter", "Tab")
        expect("SUMMARY", b.run("return document.activeElement.tagName"), "behind the skip link")
        b.run("document.querySelector('#s2t1 td').focus()")
        b.press("ArrowDown", "ArrowRight", "ArrowRight", "ArrowUp", "Enter")
        b.until("window.copied === '536870912'", "the copied cell is the report's value only")
        b.press("Home", "Enter")
        b.until("window.copied === '/'", "a cell with a bar")
        b.click("#s4f1 .copyfile")
        b.until("window.copied.endsWith('\\nline 999 of the log\\n')", "a whole file")
        expect(1000, b.run("return window.copied.split('\\n').length - 1"), "lines of the file")
        expect(12, b.run("return document.querySelector('#s4f1 pre').textContent"
                         ".split('\\n').length - 1"), "lines shown of a folded file")


def check_look():
    with Browser() as b:
        b.open(page_of(sample(400)))
        expect("right", b.run("return getComputedStyle(document.querySelector("
                              "'#s3t1 td:nth-child(2)')).textAlign"), "numbers")
        b.run("location.hash = '#s3'")
        b.until("document.querySelector('#contents [aria-current]').hash.startsWith('#s3')",
                "contents follow the reading position")
        b.run("scrollBy(0, 3000)")
        b.until("document.querySelector('#s3t1 thead').getBoundingClientRect().top < 100 && "
                "document.querySelector('#s3t1 thead').getBoundingClientRect().top > 20",
                "the heading stays in sight")
        paper = "return getComputedStyle(document.documentElement).backgroundColor"
        light = b.run(paper)
        b.cdp("Emulation.setEmulatedMedia",
              features=[{"name": "prefers-color-scheme", "value": "dark"}])
        dark = b.run(paper)
        expect(True, light != dark, "a dark scheme")
        b.click("#theme")
        expect(light, b.run(paper), "the switch")
        b.cdp("Emulation.setDeviceMetricsOverride", width=390, height=800, deviceScaleFactor=1,
              mobile=True)
        expect(390, b.run("return document.documentElement.scrollWidth"), "width on a phone")
        b.click("#menu")
        expect(True, b.run("return document.querySelector('#contents').checkVisibility()"), "menu")


def check_attack():
    columns = [(kind, ATTACK + kind) for kind in ("STR", "DEC", "HEX", "ASC", "BOOL", "DATE")]
    parts = [table_of(ATTACK, columns, [[ATTACK] * 6] * rows) for rows in (3, 1)] + [
             file_of(ATTACK, ATTACK + "</pre>" + ATTACK * 200)]
    text = report_of([(ATTACK, parts), ("SYSTEM SUMMARY", [table_of(
        "System Summary", [("STR", "Computer Name"), ("STR", "UUID")], [[ATTACK, ATTACK]])])])
    text = text.replace("2.0.0", quoted(ATTACK), 1).replace("</CHK>\r\n</ROW>", "x</CHK>\r\n</ROW>")
    with Browser() as b:
        b.open(page_of(text, status=1))
        expect([1, 0, 0], b.run("return [document.scripts.length, document.images.length, "
                                "document.querySelectorAll('b').length]"), "foreign elements")
        expect([ATTACK] * 3, b.column("s1t1", 1), "a cell says what stands there")
        expect(ATTACK, b.run("return document.querySelector('h1').textContent"), "the heading")
        b.search("hacked=1")
        for attempt in ("div.innerHTML = '<img src=x onerror=window.hacked=1>'",
                        "div.setAttribute('onclick', 'window.hacked=1'); div.click()",
                        "const s = document.createElement('script'); s.append('window.hacked=1');"
                        "div.append(s)"):
            b.run("const div = document.body.appendChild(document.createElement('div'));"
                  "try { %s } catch {}" % attempt)
        time.sleep(0.2)
        expect(None, b.run("return window.hacked"), "a script that ran")
        for mark in b.run("return [...document.querySelectorAll('#faults a')].map((a) => a.hash)"):
            expect(True, b.run("return document.querySelector('%s') !== null" % mark), mark)


def check_large():
    rows = 10000
    with Browser() as b:
        b.open(page_of(sample(rows)))
        expect(rows, b.run("return document.querySelectorAll('#s3t1 tbody tr').length"), "rows")
        shown = "document.querySelectorAll('#s3t1 tbody tr:not([hidden])').length"
        b.search("name 49")
        b.until(shown + " < 2000", "a search")
        b.press("Escape")
        b.until(shown + " === %d" % rows, "the end of the search")
        b.click("#s3t1 th:nth-child(2) button")
        b.until("document.querySelector('#s3t1 td:nth-child(2)').textContent === '0'", "a sort")
        expect(True, b.run("return window.find('name 3141')"), "find reaches what is not laid out")
        b.click("#fold")
        b.cdp("Emulation.setEmulatedMedia", media="print")
        expect(True, b.run("return document.querySelector('#s4f1 pre:last-child')"
                           ".getBoundingClientRect().height > 100"), "folded text on paper")
        expect("table-row", b.run("return getComputedStyle(document.querySelector("
                                  "'#s3t1 tbody:last-child tr')).display"), "rows on paper")


if __name__ == "__main__":
    KS2 = os.path.abspath(sys.argv[1])
    globals()["check_" + sys.argv[2]]()
