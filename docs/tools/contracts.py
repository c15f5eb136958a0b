"""Every exported name has a contract in the header: Doxygen found it and lists it with a description.

usage: contracts.py CC HEADER XML_FOLDER DOXYGEN_LOG MANUAL_PAGE TESTS_ABI_FOLDER
"""

import os
import sys
import xml.etree.ElementTree as ElementTree


def main():
    compiler, headerPath, xmlFolder, log, manual, testsAbi = sys.argv[1:]
    sys.path.insert(0, testsAbi)
    from headerNames import declaredNames

    functions, data = declaredNames(compiler, headerPath)
    header = ElementTree.parse(os.path.join(xmlFolder, "VindrelRegLib_8h.xml")).find("compounddef")
    described = {}
    for element in header.iter("memberdef"):
        texts = [" ".join("".join(element.find(part).itertext()).split())
                 for part in ("briefdescription", "detaileddescription")]
        described[element.findtext("name")] = " ".join(texts).strip()

    problems = []
    for name in sorted(functions | data):
        if name not in described:
            problems.append("%s: not in the reference" % name)
        # Shorter than this, it can only repeat the name.
        elif len(described[name]) < 40:
            problems.append("%s: no contract%s" % (name, ", only '%s'" % described[name] if described[name] else ""))
    with open(manual, encoding="utf-8") as file:
        headings = {line[4:].strip() for line in file if line.startswith(".SS ")}
    for name in sorted(functions | data):
        if name not in headings:
            problems.append("%s: not in the manual page" % name)
    with open(log, encoding="utf-8") as file:
        problems += file.read().splitlines()
    print("%d names, %d of them with a contract" % (len(functions | data),
                                                    sum(len(described.get(name, "")) >= 40
                                                        for name in functions | data)))
    if problems:
        sys.exit("\n".join(problems))


main()
