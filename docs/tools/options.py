"""The manual page of the program names the options and commands that its help texts name, and no others, each once.

usage: options.py PROGRAM MANUAL_PAGE
"""

import re
import subprocess
import sys

# In the manual page: one or two hyphens at the beginning of a word.
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*|(?<![\w-])-[a-z](?![\w-])")


def helpText(program, *arguments):
    return subprocess.run([program, *arguments, "--help"], check=True, capture_output=True, text=True).stdout


def offeredIn(text):
    """The options that a help text lists, and not those of its examples."""
    return {option for names in re.findall(r"^  (-\S+)", text, flags=re.M) for option in names.split(",")}


def main():
    program, manualPath = sys.argv[1:]
    with open(manualPath, encoding="utf-8") as file:
        # Font changes within a word, then the escaped hyphens.
        manual = re.sub(r"\\f[BIPR]", "", file.read()).replace("\\-", "-")
    overview = helpText(program)
    commands = re.findall(r"^  ([a-z]+)\s", overview[overview.lower().index("commands"):], flags=re.M)
    problems = []
    if not commands:
        problems.append("the help names no commands")
    documented = set(OPTION.findall(manual))
    offered = offeredIn(overview)
    for command in commands:
        synopses, descriptions = manual.split("\n.SH DESCRIPTION\n", 1)
        if synopses.count("\n.B vindrel %s\n" % command) != 1:
            problems.append("the manual page does not have one synopsis of 'vindrel %s'" % command)
        heading = ".SH OPTIONS OF %s\n" % command.upper()
        if descriptions.count(heading) != 1:
            problems.append("the manual page does not have one section of the options of '%s'" % command)
            continue
        section = manual.split(heading, 1)[1].split("\n.SH ", 1)[0]
        ofCommand = offeredIn(helpText(program, command)) - {"-h", "--help"}
        offered |= ofCommand
        problems += ["%s %s: not in the manual page" % (command, option)
                     for option in sorted(ofCommand - set(OPTION.findall(section)))]
    problems += ["%s: in the manual page only" % option for option in sorted(documented - offered)]
    print("commands: %s; %d options" % (", ".join(commands), len(offered)))
    if problems:
        sys.exit("\n".join(problems))


main()
