#!/usr/bin/env python3
"""man_pages.py DOXYGEN_MAN_DIR OUT_DIR VERSION EXPORT_LISTS…: man pages out of Doxygen's.

vos_FAMILY.3 for every header, with the family's tested example and its neighbours in the manual's index; one link for
every exported function that a header describes; vosctl.1, vosgen.1, vosmini.1 and vos-hubd.8 from their pages of the
manual.
"""

import pathlib
import re
import sys

import when

DOCS = pathlib.Path(__file__).resolve().parent
TOOLS = {"vosctl": 1, "vosgen": 1, "vosmini": 1, "vos-hubd": 8}


def groups() -> list[list[str]]:
    """Families as the tables of docs/manual/index.md group them."""
    found: list[list[str]] = [[]]
    for line in (DOCS / "manual/index.md").read_text().splitlines():
        if line.startswith("| **") or line.startswith("## "):
            found.append([])
        elif match := re.search(r"\| *vos/(\w+)\.h *\|", line):
            found[-1].append(match[1])
    return found


def heading(name: str, section: int, version: str, date: str) -> str:
    return f'.TH "{name}" "{section}" "{date}" "libvos {version}" "libvos"\n'


def literal(text: str) -> str:
    """Text that is shown as it stands."""
    lines = [re.sub(r"^([.'])", r"\\&\1", line.replace("\\", "\\e")) for line in text.rstrip("\n").splitlines()]
    return "\n".join(line.replace("-", "\\-") for line in lines) + "\n"


def example(family: str) -> str:
    """What the family's page of the manual includes; messages show the headers that have no page."""
    page = DOCS / f"manual/{family}.md"
    included = re.search(r"^@include (\w+\.c)$", page.read_text(), re.M) if page.exists() else None
    source = DOCS / "examples" / (included[1] if included else f"{family}.c")
    code, _, printed = (source if source.exists() else DOCS / "examples/msg.c").read_text().partition("/* Prints:\n")
    text = f".SH EXAMPLES\n.EX\n{literal(code)}.EE\n"
    if printed:
        text += f".PP\nIt prints\n.PP\n.EX\n{literal(printed.partition('*/')[0])}.EE\n"
    return text


def see_also(family: str, families: list[str]) -> str:
    near = [name for group in groups() if family in group for name in group if name in families and name != family]
    if not near and family != "msg":
        near = ["msg"]
    pages = [f"vos_{name} (3)" for name in near] + ["vosctl (1)", "vos\\-hubd (8)"]
    return ".SH \"SEE ALSO\"\n" + ",\n".join(f".BR {page}" for page in pages).replace(",\n", " ,\n") + "\n"


def body(text: str, name: str) -> str:
    """A page of Doxygen's behind its heading: no author, the usual headings, names as man(1) finds them."""
    text = text.split("\n", 1)[1] if text.startswith(".TH") else text
    text = re.sub(r"^\.TH .*\n", "", text, flags=re.M)
    text = text.split('.SH "Author"')[0]
    text = re.sub(r"^\.SH NAME\n\S+ \\- (.*)$",
                  lambda m: ".SH NAME\n" + name.replace("-", "\\-") + " \\- " + re.sub(r"\\&\.$", "", m[1].strip())
                  .removeprefix(name + ": "), text, count=1, flags=re.M)
    text = text.replace('.SH "Detailed Description"', ".SH DESCRIPTION").replace(
        '.SH "Function Documentation"', ".SH FUNCTIONS")
    text = re.sub(r"^\.SH (.*)$", lambda m: ".SH " + m[1].upper(), text, flags=re.M)
    # An option and what it means; no page has pictures.
    text = re.sub(r'^\.IP "\\\(bu" 2\n(\\f[BC].*?): ', r".TP\n\1\n", text, flags=re.M)
    text = re.sub(r"^(\.PP\n)+(?=\.SH |\.TP|\.IP|\.PP)|(?<=\n)\.PP\n\n(?=\.SH )", "", text, flags=re.M)
    text = re.sub(r"^(\.SH .*\n)\.PP\n", r"\1", text, flags=re.M)
    text = re.sub(r"^ +(?=\w)", "", text, flags=re.M)
    text = re.sub(r"^\.SH \"UNDER LOAD\".*?(?=^\.SH )", "", text, flags=re.M | re.S)
    text = re.sub(r"^'", r"\\&'", text, flags=re.M).replace("\\fC", "\\fB")
    return re.sub(r"[ \t]+$", "", text, flags=re.M)


def main() -> None:
    source, out, version = pathlib.Path(sys.argv[1]) / "man3", pathlib.Path(sys.argv[2]), sys.argv[3]
    date = f"{when.when():%Y-%m-%d}"
    for section in (1, 3, 8):
        (out / f"man{section}").mkdir(parents=True, exist_ok=True)
    pages = {}
    headers = sorted(source.glob("*.h.3"))
    families = [file.name.removesuffix(".h.3") for file in headers]
    for file, family in zip(headers, families):
        text = re.sub(r"^\.SH SYNOPSIS\n.*?(?=^\.S[SH] )",
                      f".SH SYNOPSIS\n.nf\n#include <vos/{family}.h>\n\ncc ... -lvos\n.fi\n",
                      body(file.read_text(), f"vos_{family}"), count=1, flags=re.M | re.S)
        pages[family] = heading(f"vos_{family}", 3, version, date) + text + example(family) + see_also(family, families)
        (out / f"man3/vos_{family}.3").write_text(pages[family])
    for tool, section in TOOLS.items():
        text = heading(tool, section, version, date) + body((source / f"{tool}.3").read_text(), tool)
        (out / f"man{section}/{tool}.{section}").write_text(text)
    for exports in sys.argv[4:]:
        for name in re.findall(r"^[A-Za-z_]\w*", pathlib.Path(exports).read_text(), re.M):
            family = next((f for f, page in pages.items() if re.search(rf"^\.SS .*\W{name}\W", page, re.M)), None)
            if family:
                (out / f"man3/{name}.3").write_text(f".so man3/vos_{family}.3\n")


main()
