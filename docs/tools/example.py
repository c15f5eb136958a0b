"""The example in the header's opening comment compiles, as C and as C++.

usage: example.py CC CXX HEADER
"""

import os
import re
import subprocess
import sys


def main():
    cCompiler, cppCompiler, header = sys.argv[1:]
    with open(header, encoding="utf-8") as file:
        comment = re.search(r" \* @code\n(.*?) \* @endcode", file.read(), re.S).group(1)
    program = re.sub(r"^ \* ?", "", comment, flags=re.M)
    for compiler, standard, language in ((cCompiler, "-std=c11", "c"), (cppCompiler, "-std=c++20", "c++")):
        subprocess.run([compiler, standard, "-Wall", "-Wextra", "-Wpedantic", "-Werror",
                        "-fsyntax-only", "-I", os.path.dirname(header), "-x", language, "-"],
                       input=program, text=True, check=True)
    print(program)


main()
