"""Exported functions are defined in the boundary files alone, one such file a source folder, and nobody calls them.

An exported function that is called from inside could be replaced by a host's function of the same name, and its long
argument list would spread inward.

usage: boundary.py CC NM HEADER SOURCE_FOLDER STATIC_ARCHIVE
"""

import os
import re
import subprocess
import sys

from headerNames import declaredNames


def main():
    compiler, nm, header, source, archive = sys.argv[1:]
    functions, data = declaredNames(compiler, header)
    problems = []

    # "lmfit" has "LmfitAbi.cpp"; the two folders without exported functions have no such file.
    boundaryFiles = set()
    for folder in sorted(os.listdir(source)):
        if not os.path.isdir(os.path.join(source, folder)):
            continue
        found = [name for name in os.listdir(os.path.join(source, folder)) if name.endswith("Abi.cpp")]
        expected = [] if folder in ("base", "vindrel") else [folder[0].upper() + folder[1:] + "Abi.cpp"]
        if found != expected:
            problems.append("src/%s has the boundary files %s and not %s" % (folder, found, expected))
        boundaryFiles.update(expected)

    defined = {}
    listing = subprocess.run([nm, "-A", archive], check=True, capture_output=True, text=True).stdout
    for line in listing.splitlines():
        match = re.match(r"[^:]*:([^:]*):\s*(?:[0-9a-f]+)?\s+(\w)\s+(\S+)$", line)
        if not match:
            continue
        member, kind, symbol = match.groups()
        sourceFile = re.sub(r"\.o$", "", member)
        if symbol in functions | data and kind in "TtDdBbRrWV":
            defined[symbol] = sourceFile
            if sourceFile not in boundaryFiles:
                problems.append("%s: defined in %s, which is no boundary file" % (symbol, sourceFile))
        if symbol in functions and kind == "U":
            problems.append("%s: called from %s" % (symbol, sourceFile))
    # Within one object a call leaves no trace; there the text has to do: each name once, where it is defined.
    for name in sorted(boundaryFiles):
        path = os.path.join(source, name[0].lower() + name[1:-len("Abi.cpp")], name)
        if not os.path.exists(path):
            continue  # reported above
        with open(path, encoding="utf-8") as file:
            text = re.sub(r'//.*|/\*.*?\*/|"(\\.|[^"\\\n])*"', "", file.read())
        for symbol in functions:
            uses = len(re.findall(r"(?<![\w:.>])%s\b" % symbol, text))
            if uses > 1:
                problems.append("%s: used in %s beside its definition" % (symbol, name))
    for symbol in sorted((functions | data) - set(defined)):
        problems.append("%s: defined nowhere" % symbol)

    print("%d exported names, defined in %s" % (len(defined), ", ".join(sorted(set(defined.values())))))
    if problems:
        sys.exit("\n".join(problems))


main()
