"""Doxygen input filter: the comment that a header opens with becomes the description of its file.

Lines are replaced one for one, so that line numbers in Doxygen's warnings stay those of the header.
"""

import re
import sys


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        lines = file.read().splitlines()
    for number, line in enumerate(lines):
        if not line.startswith("//"):
            # "#pragma once", which means nothing to Doxygen.
            lines[number] = "/// @file"
            break
        # Lines that are set in are an example.
        lines[number] = re.sub(r"^//(   )?", lambda set_in: "///" + "     " * bool(set_in.group(1)), line)
    print("\n".join(lines))


main()
