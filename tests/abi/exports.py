"""The shared object exports exactly the names that the header declares, and the names of the export map are the same.

usage: exports.py CC NM READELF HEADER EXPORT_MAP SHARED_OBJECT
"""

import re
import subprocess
import sys

from headerNames import declaredNames

# What a fresh host has to have: the language runtimes, OpenMP and the least-squares routines. Nothing that shows
# pictures or reads files has a place here.
ALLOWED_LIBRARIES = re.compile(r"(libcminpack|libhwy|libgomp|libomp|libstdc\+\+|libgcc_s|libm|libc|libpthread|"
                               r"ld-linux-x86-64)"
                               r"(\.so\b|-\d|$)")
SANITIZER_LIBRARIES = re.compile(r"lib(asan|ubsan|tsan)\.so")
SONAME = "VindrelRegLib-QVA.so.1"


def difference(name, expected, other, found):
    lines = ["%s: only in %s" % (symbol, name) for symbol in sorted(expected - found)]
    return lines + ["%s: only in %s" % (symbol, other) for symbol in sorted(found - expected)]


def main():
    compiler, nm, readelf, header, exportMap, library = sys.argv[1:]
    functions, data = declaredNames(compiler, header)
    problems = []
    if len(functions) < 10 or len(data) < 4:
        problems.append("the header seems not to have been read: %d functions, %d data" % (len(functions), len(data)))

    exportedFunctions, exportedData = set(), set()
    listing = subprocess.run([nm, "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    for line in listing.splitlines():
        kind, symbol = line.split()[-2:]
        if kind == "T":
            exportedFunctions.add(symbol)
        elif kind in "BDR":
            exportedData.add(symbol)
        else:
            problems.append("%s: exported with the kind '%s', neither plain function nor plain data" % (symbol, kind))
    problems += difference("the header", functions, "the shared object's functions", exportedFunctions)
    problems += difference("the header", data, "the shared object's data", exportedData)

    with open(exportMap) as file:
        text = re.sub(r"/\*.*?\*/", "", file.read(), flags=re.S)
    mapped = re.findall(r"\w+", text[text.index("global:") + len("global:"):text.index("local:")])
    problems += difference("the header", functions | data, "the export map", set(mapped))
    if mapped != sorted(mapped):
        problems.append("the export map is not in alphabetical order")

    dynamic = subprocess.run([readelf, "-dW", library], check=True, capture_output=True, text=True).stdout
    names = re.findall(r"\(SONAME\).*\[(.*)\]", dynamic)
    if names != [SONAME]:
        problems.append("SONAME is %s and not %s" % (names, SONAME))
    if not library.endswith("/" + SONAME):
        problems.append("the file is called %s and not %s" % (library, SONAME))
    for needed in re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic):
        if not ALLOWED_LIBRARIES.match(needed) and not SANITIZER_LIBRARIES.match(needed):
            problems.append("needs %s, which no host expects" % needed)
    if re.search(r"\((RPATH|RUNPATH)\)", dynamic):
        problems.append("carries a run path, which would follow it to other machines")

    print("%d functions and %d data declared, %d and %d exported"
          % (len(functions), len(data), len(exportedFunctions), len(exportedData)))
    if problems:
        sys.exit("\n".join(problems))


main()
