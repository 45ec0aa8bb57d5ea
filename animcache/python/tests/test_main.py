"""python3 -m zel FILE prints what zel ls prints."""

import os
import subprocess
import sys

from conftest import tool


def run(*args):
    return subprocess.run(list(args), capture_output=True, text=True)


def test_listing_matches_zel_ls(every_kind):
    path, _ = every_kind
    ours = run(sys.executable, "-m", "zel", path)
    theirs = run(tool("zel"), "ls", path)
    assert ours.returncode == 0 and theirs.returncode == 0
    assert ours.stdout == theirs.stdout


def test_bad_file_exits_one(tmp):
    out = run(sys.executable, "-m", "zel", os.path.join(tmp, "missing.zel"))
    assert out.returncode == 1 and "No such file" in out.stderr
