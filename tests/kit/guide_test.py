#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Follows docs/plugin-guide.md to the letter: guide_test.py BUILD-FOLDER SOURCE-FOLDER

In an empty folder, with the installed tree only: files are written as they are shown, commands run,
and what they print compared with what stands below them. The files must be those of the example that
is built by itself, too.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r"^```(\w+)(?: (\S+))?\n(.*?)^```$", re.DOTALL | re.MULTILINE)


def run(script, folder, environment):
    result = subprocess.run(["bash", "-euc", script], cwd=folder, env=environment, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if result.returncode:
        sys.exit(f"failed:\n{script}\n{result.stdout}")
    return result.stdout


def main():
    build, source = map(pathlib.Path, sys.argv[1:3])
    blocks = BLOCK.findall((source / "docs/plugin-guide.md").read_text())
    with tempfile.TemporaryDirectory() as root:
        prefix = pathlib.Path(root) / "opt/vorn"
        subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True,
                       stdout=subprocess.DEVNULL)
        folder = pathlib.Path(root) / "empty"
        folder.mkdir()
        environment = {**os.environ, "PATH": f"{prefix}/bin:{os.environ['PATH']}",
                       "CMAKE_PREFIX_PATH": str(prefix)}
        output, written = "", {}
        for language, name, text in blocks:
            if language == "sh":
                output = run(text, folder, environment)
            elif language == "text":
                if output != text:
                    sys.exit(f"expected:\n{text}\ngot:\n{output}")
            else:
                written[name] = written.get(name, "") + text
                (folder / name).write_text(written[name])
        for name, text in written.items():
            example = source / "kit/examples/c" / pathlib.Path(name).relative_to("hosts")
            if example.read_text() != text:
                sys.exit(f"{name} differs from {example}")
        print(f"{len(blocks)} blocks followed, {len(written)} files as in the example")


if __name__ == "__main__":
    main()
