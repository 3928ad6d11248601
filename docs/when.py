"""The manual's date: SOURCE_DATE_EPOCH, the last commit's, or that of the Debian change log."""

import datetime
import email.utils
import os
import pathlib
import subprocess

SOURCE = pathlib.Path(__file__).resolve().parent.parent


def when() -> datetime.datetime:
    if epoch := os.environ.get("SOURCE_DATE_EPOCH"):
        return datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc)
    git = subprocess.run(["git", "-C", SOURCE, "log", "-1", "--format=%aD"], capture_output=True, text=True) \
        if (SOURCE / ".git").exists() else None
    if git and git.returncode == 0 and git.stdout:
        return email.utils.parsedate_to_datetime(git.stdout.strip())
    changelog = (SOURCE / "packaging/debian/changelog").read_text()
    return email.utils.parsedate_to_datetime(changelog.split(">  ", 1)[1].splitlines()[0])


def in_words() -> str:
    return f"{when():%-d %B %Y}"
