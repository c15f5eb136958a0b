"""The C++ library shows exactly the listed symbols, every one of them declared in an installed header, needs nothing
but what a fresh host has, and has the promised name.

usage: cppExports.py NM READELF SYMBOL_LIST HEADER_FOLDER SHARED_OBJECT
"""

import os
import re
import subprocess
import sys

ALLOWED_LIBRARIES = re.compile(r"(libcminpack|libhwy|libgomp|libomp|libstdc\+\+|libgcc_s|libm|libc|libpthread"
                               r"|ld-linux-x86-64)(\.so\b|-\d|$)")
SANITIZER_LIBRARIES = re.compile(r"lib(asan|ubsan|tsan)\.so")
SONAME = "libvindrel.so.1"


def main():
    nm, readelf, listFile, headers, library = sys.argv[1:]
    problems = []
    listing = subprocess.run([nm, "-D", "--defined-only", "-C", library], check=True, capture_output=True,
                             text=True).stdout
    shown = {line.split(" ", 1)[1] for line in listing.splitlines()}
    with open(listFile) as file:
        expected = set(file.read().splitlines())
    if len(expected) < 10:
        problems.append("the list of symbols seems not to have been read")
    problems += ["listed, but not shown: " + symbol for symbol in sorted(expected - shown)]
    problems += ["shown, but not listed: " + symbol for symbol in sorted(shown - expected)]

    text = ""
    for name in os.listdir(headers):
        with open(os.path.join(headers, name)) as file:
            text += file.read()
    for symbol in shown:
        name = re.match(r"T vindrel::(?:\w+::)?(\w+)", symbol)
        if not name:
            problems.append("no function of the namespace: " + symbol)
        elif not re.search(r"\b%s\(" % name.group(1), text):
            problems.append("declared in no header: " + symbol)

    dynamic = subprocess.run([readelf, "-dW", library], check=True, capture_output=True, text=True).stdout
    if re.findall(r"\(SONAME\).*\[(.*)\]", dynamic) != [SONAME]:
        problems.append("the SONAME is not " + SONAME)
    for needed in re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic):
        if not ALLOWED_LIBRARIES.match(needed) and not SANITIZER_LIBRARIES.match(needed):
            problems.append("needs %s, which no host expects" % needed)
    if re.search(r"\((RPATH|RUNPATH)\)", dynamic):
        problems.append("carries a run path, which would follow it to other machines")
    print("%d symbols" % len(shown))
    if problems:
        sys.exit("\n".join(problems))


main()
