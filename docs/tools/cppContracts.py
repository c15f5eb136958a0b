"""Every name of the C++ interface is described in its header: Doxygen found it, lists it, and had nothing to complain of.

usage: cppContracts.py HEADER_FOLDER EXPORTED_SYMBOLS DOXYGEN_FOLDER DOXYGEN_LOG
"""

import os
import re
import sys
import xml.etree.ElementTree as ElementTree


def description(element):
    return " ".join(" ".join("".join(part.itertext()).split())
                    for tag in ("briefdescription", "detaileddescription") for part in element.findall(tag)).strip()


def main():
    headerFolder, exported, doxygenFolder, log = sys.argv[1:]
    xmlFolder, htmlFolder = os.path.join(doxygenFolder, "xml-cpp"), os.path.join(doxygenFolder, "html", "cpp")
    problems, described = [], {}

    def visit(name, element, least):
        text = described[name] = description(element)
        if len(text) < least:
            problems.append("%s: %s" % (name, "only '%s'" % text if text else "no description"))

    compounds = [compound for file in sorted(os.listdir(xmlFolder)) if file.endswith(".xml")
                 for compound in ElementTree.parse(os.path.join(xmlFolder, file)).iter("compounddef")]
    for compound in compounds:
        name, kind = compound.findtext("compoundname"), compound.get("kind")
        if name == "std" or kind not in ("struct", "class", "namespace", "file"):
            continue
        if kind in ("struct", "class"):
            visit(name, compound, 10)
        if kind == "file":
            continue
        for member in compound.iter("memberdef"):
            if member.get("prot") != "public":
                continue
            full = name + "::" + member.findtext("name")
            # What a function or a type promises takes a sentence; what a number counts, a word.
            visit(full, member, 10 if member.get("kind") in ("function", "enum", "typedef") else 3)
            for value in member.findall("enumvalue"):
                visit(full + "::" + value.findtext("name"), value, 3)

    with open(exported, encoding="utf-8") as file:
        functions = {re.match(r"\w ([\w:]+)", line).group(1) for line in file if line.strip()}
    problems += ["%s: not in the reference" % name for name in sorted(functions - described.keys())]

    headers = sorted(name for name in os.listdir(headerFolder) if name.endswith(".hpp"))
    files = {compound.findtext("compoundname"): compound for compound in compounds if compound.get("kind") == "file"}
    for header in headers:
        page = header.replace("_", "__").replace(".", "_8") + ".html"
        if header not in files or not description(files[header]):
            problems.append("%s: the file has no description" % header)
        elif not os.path.isfile(os.path.join(htmlFolder, page)):
            problems.append("%s: has no page %s" % (header, page))
    with open(os.path.join(htmlFolder, "index.html"), encoding="utf-8") as file:
        index = file.read()
    problems += ["%s: the first page does not name it" % header
                 for header in headers if header != "api.hpp" and "vindrel/" + header not in index]
    with open(log, encoding="utf-8") as file:
        problems += file.read().splitlines()
    print("%d headers, %d names, %d exported functions" % (len(headers), len(described), len(functions)))
    if problems:
        sys.exit("\n".join(problems))


main()
