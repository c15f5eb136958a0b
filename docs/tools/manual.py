"""Writes the manual page of the library, section 3, from the XML that Doxygen makes of the header.

usage: manual.py HEADER XML_FOLDER VERSION OUTPUT
"""

import os
import re
import sys
import textwrap
import xml.etree.ElementTree as ElementTree

PAGE_WIDTH = 72


def roff(text):
    """Text that roff prints as it stands: backslashes, hyphens that are to be copied, dots at a line's start."""
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("\u2212", "\\-")
    text = "".join(c if ord(c) < 128 else "\\[u%04X]" % ord(c) for c in text)
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def inline(element):
    """The text of an element, its own markup as bold and italic. Line breaks of the source mean nothing."""
    parts = [roff(element.text or "")]
    for child in element:
        inner = inline(child)
        if child.tag in ("computeroutput", "bold"):
            inner = "\\fB" + inner + "\\fP"
        elif child.tag == "emphasis":
            inner = "\\fI" + inner + "\\fP"
        elif child.tag in ("ndash", "mdash"):
            inner = "\\[en]"
        elif child.tag == "linebreak":
            inner = "\n.br\n"
        elif child.tag in ("sp", "nonbreakablespace"):
            inner = " "
        parts += [inner, roff(child.tail or "")]
    return "".join(parts)


BLOCKS = {"itemizedlist", "orderedlist", "parameterlist", "simplesect", "verbatim", "preformatted", "programlisting",
          "table", "blockquote"}


class Page:
    def __init__(self):
        self.lines = []

    def raw(self, line):
        self.lines.append(line)

    def text(self, text):
        """One paragraph's text, already in roff form."""
        for line in text.split("\n.br\n"):
            line = " ".join(line.split())
            if line:
                # A line that starts with a dot or a quote after joining would be a request.
                self.lines.append(re.sub(r"^([.'])", r"\\&\1", line))

    def example(self, text):
        self.raw(".PP")
        self.raw(".RS 2")
        self.raw(".nf")
        for line in text.strip("\n").split("\n"):
            self.raw(roff(line))
        self.raw(".fi")
        self.raw(".RE")

    def description(self, element):
        for child in element:
            if child.tag == "para":
                self.paragraph(child)
            elif child.tag in ("sect1", "sect2", "sect3"):
                title = child.find("title")
                if title is not None:
                    self.raw(".SS " + inline(title))
                self.description(child)
            elif child.tag in BLOCKS:
                self.block(child)

    def paragraph(self, para):
        """A Doxygen paragraph holds lists and sections among its text."""
        run = ElementTree.Element("para")
        run.text = para.text
        for child in para:
            if child.tag in BLOCKS:
                self.flush(run)
                self.block(child)
                run = ElementTree.Element("para")
                run.text = child.tail
            else:
                run.append(child)
        self.flush(run)

    def flush(self, run):
        content = inline(run)
        if content.strip():
            self.raw(".PP")
            self.text(content)

    def block(self, block):
        if block.tag in ("itemizedlist", "orderedlist"):
            for number, item in enumerate(block.findall("listitem"), 1):
                self.raw(".IP %s 3" % ("\\(bu" if block.tag == "itemizedlist" else "%d." % number))
                for part, para in enumerate(item.findall("para")):
                    if part:
                        self.raw(".IP")
                    self.text(inline(para))
        elif block.tag == "parameterlist":
            self.raw(".PP")
            self.raw({"param": "Parameters:", "retval": "Values returned:"}.get(block.get("kind"), "Notes:"))
            for item in block.findall("parameteritem"):
                self.raw(".TP 4")
                names = [inline(name) for name in item.iter("parametername")]
                self.text("\\fI" + ", ".join(names) + "\\fP")
                for part, para in enumerate(item.findall("parameterdescription/para")):
                    if part:
                        self.raw(".IP")
                    self.text(inline(para))
        elif block.tag == "simplesect":
            title = block.find("title")
            kind = block.get("kind")
            names = {"return": "Returns", "see": "See"}
            heading = inline(title) if title is not None else names.get(kind, kind.title())
            self.raw(".PP")
            self.raw(heading + ":")
            for part, para in enumerate(block.findall("para")):
                self.raw(".br" if part == 0 else ".PP")
                self.paragraphBody(para)
        elif block.tag in ("verbatim", "preformatted"):
            self.example("".join(block.itertext()))
        elif block.tag == "programlisting":
            lines = []
            for line in block.findall("codeline"):
                for space in line.iter("sp"):
                    space.text = " "
                lines.append("".join(line.itertext()))
            self.example("\n".join(lines))
        elif block.tag == "table":
            for row in block.findall("row"):
                self.raw(".IP \\(bu 3")
                self.text("; ".join(inline(entry) for entry in row.findall("entry")))
        else:
            self.description(block)

    def paragraphBody(self, para):
        content = inline(para)
        if any(child.tag in BLOCKS for child in para):
            self.paragraph(para)
        else:
            self.text(content)


class Header:
    """The declarations as they are written; Doxygen's own renderings of C declarators are not C."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.lines = file.read().splitlines()

    def declaration(self, firstLine):
        text = ""
        for line in self.lines[firstLine - 1:]:
            text += " " + re.sub(r"/\*.*?\*/", "", line)
            if text.rstrip().endswith(";"):
                break
        return textwrap.wrap(" ".join(text.split()), PAGE_WIDTH, subsequent_indent="    ", break_long_words=False)

    def structure(self, firstLine, lastLine):
        return self.lines[firstLine - 1:lastLine]


def declaration(page, lines):
    page.raw(".nf")
    page.raw(".ft B")
    for line in lines:
        page.raw(roff(line))
    page.raw(".ft R")
    page.raw(".fi")


def lineOf(element):
    return int(element.find("location").get("line"))


def member(page, header, element):
    page.raw(".SS " + roff(element.findtext("name")))
    declaration(page, header.declaration(lineOf(element)))
    for part in ("briefdescription", "detaileddescription"):
        page.description(element.find(part))


def structure(page, header, compound):
    page.raw(".SS " + roff(compound.findtext("compoundname")))
    location = compound.find("location")
    declaration(page, header.structure(int(location.get("bodystart")), int(location.get("bodyend"))))
    for part in ("briefdescription", "detaileddescription"):
        page.description(compound.find(part))


def main():
    headerPath, xmlFolder, version, output = sys.argv[1:]
    header = Header(headerPath)
    documented = ElementTree.parse(os.path.join(xmlFolder, "VindrelRegLib_8h.xml")).find("compounddef")
    page = Page()
    page.raw('.\\" Made from include/VindrelRegLib.h by docs/tools/manual.py.')
    page.raw('.TH VINDRELREGLIB 3 "" "VindrelRegLib %s" "VindrelRegLib"' % version)
    page.raw(".nh")
    page.raw(".ad l")
    page.raw(".SH NAME")
    page.raw("VindrelRegLib \\- registration of photographs, flat C interface")
    page.raw(".SH SYNOPSIS")
    page.raw(".nf")
    page.raw("\\fB#include <VindrelRegLib.h>\\fP")
    page.raw("")
    page.raw("\\fBcc file.c $(pkg\\-config \\-\\-cflags \\-\\-libs VindrelRegLib)\\fP")
    page.raw(".fi")
    page.raw(".SH DESCRIPTION")
    for part in ("briefdescription", "detaileddescription"):
        page.description(documented.find(part))
    sections = documented.findall("sectiondef")
    # Doxygen groups by the kind of the first member; the reader wants the header's order.
    sections.sort(key=lambda section: min(lineOf(element) for element in section.findall("memberdef")))
    for section in sections:
        page.raw(".SH " + roff((section.findtext("header") or section.get("kind")).upper()))
        if section.find("description") is not None:
            page.description(section.find("description"))
        if section.findtext("header") == "Types":
            for inner in documented.findall("innerclass"):
                compound = ElementTree.parse(os.path.join(xmlFolder, inner.get("refid") + ".xml")).find("compounddef")
                structure(page, header, compound)
        for element in sorted(section.findall("memberdef"), key=lineOf):
            member(page, header, element)
    page.raw(".SH SEE ALSO")
    page.raw("\\fBvindrel\\fP(1)")
    with open(output, "w", encoding="utf-8") as file:
        file.write("\n".join(page.lines) + "\n")


main()
