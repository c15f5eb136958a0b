"""Doxygen input filter: turns the header's section lines ("/* ---- Features ---- */") into Doxygen's member groups.

Lines are replaced one for one, so that line numbers in Doxygen's warnings stay those of the header.
"""

import re
import sys

SECTION = re.compile(r"/\* ---- (.*?) -+ \*/$")
AFTER_THE_DECLARATIONS = "#pragma GCC visibility pop"


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        lines = file.read().splitlines()
    close = ""
    for number, line in enumerate(lines):
        section = SECTION.match(line)
        if section:
            lines[number] = "%s/** @name %s */ /** @{ */" % (close, section.group(1))
            close = "/** @} */ "
        elif line.startswith(AFTER_THE_DECLARATIONS):
            # Means nothing to Doxygen, so its line is free to close the last group.
            lines[number] = close
    print("\n".join(lines))


main()
