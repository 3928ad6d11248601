#!/usr/bin/env python3
"""Adds the files of a gcovr summary up to families and prints their line and branch coverage."""
import json
import re
import sys
from collections import defaultdict

# The first pattern that matches a file's name, without directory, suffix and "oal_", names its family.
FAMILIES = [
    ("codec", r"base64|hex|crc32|xml_escape|processor"),
    ("security", r"security|sha1"),
    ("digest", r"md5|sha256|block_buffer"),
    ("hub requests", r"request|image"),
    ("tasks, SRPC, CLI", r"task|srpc|cli$"),
    ("containers", r"list|hashmap|vector"),
    ("files", r"fil$|dir_reader"),
    ("timers and time", r"tmr|tms|msg_tmr"),
    ("messages", r"msg|msg_handle"),
    ("processes", r"prctl|process|spawn|args|child_error"),
    ("network namespaces", r"netns"),
    ("interfaces", r"netif"),
    ("plug-ins", r"plugin"),
    ("text", r"text|number|cut_text|slice"),
    ("addresses", r"addr"),
    ("UTF-8 and GB18030", r"utf8|gb18030"),
    ("password", r"password|pass$"),
    ("XML", r"xml"),
    ("LZW", r"lzw"),
    ("DNS", r"dns"),
    ("NFC", r"nfc"),
    ("load", r"load"),
    ("log", r"log"),
    ("diagnostics", r"dbg"),
    ("entities", r"eid"),
    ("memory and pool", r"mem|pool"),
    ("shared memory and semaphores", r"sem|sm$"),
    ("shared helpers", r""),
]


def family(path):
    name = re.sub(r"^oal_|\.\w+$", "", path.rsplit("/", 1)[-1])
    return next(title for title, pattern in FAMILIES if re.match(pattern, name))


def percent(covered, total):
    return f"{100 * covered / total:5.1f} %" if total else "      -"


def main():
    sums = defaultdict(lambda: [0, 0, 0, 0])
    with open(sys.argv[1], encoding="utf-8") as summary:
        for file in json.load(summary)["files"]:
            for key in (family(file["filename"]), "all"):
                for i, kind in enumerate(("line_covered", "line_total", "branch_covered", "branch_total")):
                    sums[key][i] += file[kind]
    print("| family | lines | covered | branches | covered |\n|---|---|---|---|---|")
    for title in [title for title, _ in FAMILIES] + ["all"]:
        if title in sums:
            lines, line_total, branches, branch_total = sums[title]
            print(f"| {title} | {line_total} | {percent(lines, line_total)} "
                  f"| {branch_total} | {percent(branches, branch_total)} |")


if __name__ == "__main__":
    main()
