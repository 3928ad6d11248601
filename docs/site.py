#!/usr/bin/env python3
"""site.py HTML_DIR [NPM_DIR]: finishes what Doxygen wrote for docs/header.html.

Every page gets the list of pages, which is that of the index in its order; tables that scroll; the date. What the
manual's own look does not use is removed. With NPM_DIR pagefind is fetched there and makes the index of the search.
"""

import html
import json
import pathlib
import re
import subprocess
import sys

import when

PAGEFIND = "pagefind@1.5.2"
# The lists that no page of docs/manual stands for.
REFERENCE = [("functions.html", "All functions"), ("files.html", "Headers"), ("annotated.html", "Structures")]
UNUSED = ["*.png", "jquery.js", "dynsections.js", "doxygen.css", "doxygen.svg", "tabs.css", "menu.js", "menudata.js",
          "dir_*.html", "pages.html"]


def page_list(index: str) -> list[tuple[str, str, str]]:
    """(level, link, text) of the index: its headings, the bold rows and the first links of its tables."""
    entries = []
    pattern = re.compile(r'<h[12][^>]*>(?P<h2>.*?)</h[12]>|<td[^>]*><(?:b|strong)>(?P<h3>.*?)</(?:b|strong)>'
                         r'|<tr[^>]*>\s*<td[^>]*><a class="el" href="(?P<link>[^"]+)">(?P<text>.*?)</a>', re.S)
    for match in pattern.finditer(index.split("<!--header-->")[-1]):
        if match["link"]:
            entries.append(("a", match["link"], re.sub(r"<[^>]+>", "", match["text"]).split(":")[0].strip()))
        else:
            level = "h2" if match["h2"] is not None else "h3"
            entries.append((level, "", re.sub(r"<[^>]+>", "", match[level]).strip()))
    return entries


def navigation(entries: list[tuple[str, str, str]], current: str) -> str:
    out, in_list = ["<nav class=\"pages\" aria-label=\"Pages\">"], False
    for level, link, text in entries:
        if (level == "a") != in_list:
            out.append("</ul>" if in_list else "<ul>")
            in_list = not in_list
        if level == "a":
            mark = ' aria-current="page"' if link == current else ""
            out.append(f'<li><a href="{link}"{mark}>{text}</a></li>')
        else:
            out.append(f"<{level}>{text}</{level}>")
    return "\n".join([*out, "</ul>" if in_list else "", "</nav>"])


def finished(page: str, nav: str, date: str) -> str:
    page = page.replace("<!--pages-->", nav).replace("<!--date-->", date)
    page = re.sub(r'<div class="title">(.*?)</div>', r'<h1 class="title">\1</h1>', page, count=1, flags=re.S)
    # A header and a structure are called by their names; a header stands in the list of headers.
    page = re.sub(r"(<title>|<h1 class=\"title\">)([^<]*?) (File|(?:Struct|Union|Class|Namespace)(?: Template)?) Reference",
                  lambda m: m[1] + ("vos/" if m[3] == "File" and not m[2].startswith("vos/") else "") + m[2], page)
    page = re.sub(r'<a class="el" href="dir_\w+.html">vos</a>', '<a class="el" href="files.html">Headers</a>', page)
    page = re.sub(r'<tr id="row_0_"[^>]*>(?:(?!</tr>).)*href="dir_.*?</tr>', "", page, flags=re.S)
    page = re.sub(r'<div class="textblock">Here (?:is a list of all documented files|are the data structures) with brief '
                  "descriptions:</div>", "", page)
    page = re.sub(r'(<table class="(?:markdownTable|doxtable)".*?</table>)', r'<div class="scroll">\1</div>', page, flags=re.S)
    return re.sub(r'(<tr id="row_[^>]*?) style="display:none;"', r"\1", page)


def words(page: str) -> str:
    body = page.split("<main", 1)[-1].split("</main>", 1)[0].split(">", 1)[-1]
    return re.sub(r"\s+", " ", html.unescape(re.sub(r"<[^>]+>", " ", body))).strip()


def add_pagefind(site: pathlib.Path, npm: pathlib.Path) -> None:
    program = npm / "node_modules/.bin/pagefind"
    try:
        if not program.exists():
            npm.mkdir(parents=True, exist_ok=True)
            subprocess.run(["npm", "install", "--prefix", npm, "--no-save", "--no-audit", "--no-fund", "--silent",
                            "--fetch-retries=1", "--fetch-timeout=20000", PAGEFIND],
                           check=True, timeout=120, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        subprocess.run([program, "--site", site, "--quiet"], check=True, timeout=300, stdout=subprocess.DEVNULL)
    except (OSError, subprocess.SubprocessError):
        print("note: pagefind could not be had from npm; full-text search through it is left out of this manual, "
              "what stays is the plain index")


def main() -> None:
    site, date = pathlib.Path(sys.argv[1]), when.in_words()
    for pattern in UNUSED:
        for file in site.glob(pattern):
            file.unlink()
    entries = page_list((site / "index.html").read_text())
    entries += [("h2", "", "Reference"), *(("a", link, text) for link, text in REFERENCE)]
    listed = {link for _, link, _ in entries}
    index = []
    for file in sorted(site.glob("*.html")):
        page = file.read_text()
        is_structure = file.name.startswith(("struct", "union", "class", "namespace"))
        current = file.name if file.name in listed else "annotated.html" if is_structure else "files.html"
        page = finished(page, navigation(entries, current), date)
        file.write_text(page)
        title = re.search(r"<title>(.*?) · ", page)
        index.append([file.name, html.unescape(title[1]) if title else file.name, words(page)])
    (site / "words.js").write_text("window.vosManual = " + json.dumps(index, ensure_ascii=False) + ";\n")
    if len(sys.argv) > 2:
        add_pagefind(site, pathlib.Path(sys.argv[2]))


main()
