"""Every source file is laid out as .clang-format says.

Left out is include/VindrelRegLib.h, whose declarations are aligned by hand. Exits with 77, "skipped", without
clang-format; another version than the one named in the build would break lines elsewhere.

usage: format.py CLANG_FORMAT PROJECT_FOLDER
"""

import os
import subprocess
import sys

FOLDERS = ("src", "include/vindrel", "cli", "tests", "bench")
SKIPPED = 77


def sources(project):
    for folder in FOLDERS:
        for path, _, names in os.walk(os.path.join(project, folder)):
            yield from (os.path.join(path, name) for name in names if name.endswith((".cpp", ".h", ".hpp", ".c")))


def main():
    clangFormat, project = sys.argv[1:]
    if clangFormat.endswith("-NOTFOUND"):
        print("clang-format-14 is not installed: the layout was not looked at")
        sys.exit(SKIPPED)
    files = sorted(sources(project))
    print("%d files" % len(files))
    # Names the places itself, as a compiler does.
    if subprocess.run([clangFormat, "--dry-run", "-Werror", *files]).returncode != 0:
        sys.exit("to lay out a file: clang-format-14 -i FILE")


main()
