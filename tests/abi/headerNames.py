"""The names that the public header declares: functions, and data.

The header is read after the preprocessor, so that what counts is what a compiler sees.
"""

import re
import subprocess


def declaredNames(compiler, header):
    """Returns (functions, data): the names with external linkage, as two sets."""
    text = subprocess.run([compiler, "-E", "-P", "-x", "c", header], check=True, capture_output=True, text=True).stdout
    text = re.sub(r"^#.*$", "", text, flags=re.M)
    functions, data = set(), set()
    for declaration in _topLevelDeclarations(text):
        if declaration.startswith("typedef"):
            continue
        if declaration.startswith("extern") and "(" not in declaration:
            for declarator in declaration.split(","):
                data.add(re.search(r"(\w+)\s*(\[[^\]]*\])?\s*$", declarator).group(1))
        else:
            match = re.match(r"[\w\s*]*?(\w+)\s*\(", declaration)
            if not match:
                raise ValueError("cannot read the declaration: " + declaration)
            functions.add(match.group(1))
    return functions, data


def _topLevelDeclarations(text):
    depth, start = 0, 0
    for position, character in enumerate(text):
        if character in "{(":
            depth += 1
        elif character in "})":
            depth -= 1
        elif character == ";" and depth == 0:
            yield " ".join(text[start:position].split())
            start = position + 1
    if text[start:].strip():
        raise ValueError("unfinished declaration: " + text[start:].strip())
