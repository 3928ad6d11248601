#!/usr/bin/env python3
"""check_manual.py HTML_DIR: looks at the manual with a browser.

Served and as files, the search finds words of the text; where pagefind made no index, only as files. On a phone's width
no page is wider than the screen, and each one has its version, its date and the list of all pages.
"""

import functools
import http.server
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading

WORDS = {"heartbeat": "vosmini", "epoll": "", "porting": "How to port a daemon"}  # and a page that is found
PHONE = 390
PATIENCE = 120
PROBE = """<!DOCTYPE html><title>probe</title><body><script>
const {words, pages} = WORK;
const frame = document.createElement('iframe');
frame.width = PHONE; frame.height = 800;
const load = (url) => new Promise((done) => { frame.onload = () => done(frame.contentDocument); frame.src = url; });
(async () => {
    document.body.append(frame);
    const result = {found: {}, wide: [], bare: []};
    for (const word of words) {
        const page = await load('index.html?q=' + word);
        const found = page.getElementById('found');
        for (let i = 0; found.dataset.query !== word && i < 600; i++) await new Promise((next) => setTimeout(next, 50));
        result.found[word] = found.innerText;
    }
    for (const url of pages) {
        const page = await load(url);
        if (page.documentElement.scrollWidth > PHONE) result.wide.push(url + ' ' + page.documentElement.scrollWidth);
        const foot = page.querySelector('footer')?.innerText ?? '';
        if (!/\\d+\\.\\d+.* 20\\d\\d/.test(foot) || page.querySelectorAll('nav.pages a').length < 40) result.bare.push(url);
    }
    fetch('/result', {method: 'POST', body: JSON.stringify(result)});
})();
</script>"""


class Handler(http.server.SimpleHTTPRequestHandler):
    """The manual, the page that looks through it, and where that reports."""

    probe = ""
    result: dict = {}
    done = threading.Event()

    def do_GET(self) -> None:
        if self.path != "/probe.html":
            return super().do_GET()
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(self.probe.encode())

    def do_POST(self) -> None:
        type(self).result = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.send_response(204)
        self.end_headers()
        self.done.set()

    def log_message(self, format: str, *args: object) -> None:
        pass


def browser(profile: str, *arguments: str) -> list[str]:
    return ["chromium", "--headless", "--no-sandbox", "--disable-gpu", f"--user-data-dir={profile}", *arguments]


def served(site: pathlib.Path, profile: str, words: list[str]) -> dict:
    pages = sorted(file.name for file in site.glob("*.html"))
    Handler.probe = PROBE.replace("WORK", json.dumps({"words": words, "pages": pages})).replace("PHONE", str(PHONE))
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Handler, directory=site)) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        process = subprocess.Popen(
            browser(profile, "--remote-debugging-port=0", f"http://127.0.0.1:{server.server_port}/probe.html"),
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        answered = Handler.done.wait(PATIENCE)
        process.terminate()
        process.wait()
        server.shutdown()
    if not answered:
        sys.exit("the browser never finished")
    return Handler.result


def opened(site: pathlib.Path, profile: str, word: str) -> str:
    page = subprocess.run(browser(profile, "--virtual-time-budget=10000", "--dump-dom",
                                  f"{(site / 'index.html').as_uri()}?q={word}"),
                          capture_output=True, text=True, timeout=PATIENCE).stdout
    return page.partition('<div id="found"')[2].partition("</form>")[0]


def main() -> None:
    site = pathlib.Path(sys.argv[1]).resolve()
    if not shutil.which("chromium"):
        print("there is no chromium")
        sys.exit(77)
    problems = []
    with tempfile.TemporaryDirectory() as profile:
        has_index = (site / "pagefind").is_dir()
        result = served(site, profile, list(WORDS) if has_index else [])
        problems += [f"wider than a phone: {page}" for page in result["wide"]]
        problems += [f"without version, date or list of pages: {page}" for page in result["bare"]]
        found = {f"{word}, served": text for word, text in result["found"].items()}
        found |= {f"{word}, as a file": opened(site, profile, word) for word in WORDS}
        for search, text in found.items():
            if "Nothing found" in text or len(text) < 40 or WORDS[search.split(",")[0]] not in text:
                problems.append(f"search for {search}: {text!r}")
    print("\n".join(problems) or f"{len(found)} searches, no page too wide" + ("" if has_index else "; without pagefind"))
    sys.exit(1 if problems else 0)


main()
