"""bash completes every command and option that the help texts list, and no others; the words that options take are
those that the program accepts.

usage: completion.py PROGRAM COMPLETION_SCRIPT
"""

import re
import subprocess
import sys

SCRIPT = """source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMPREPLY=(); _vindrel
printf '%s\\n' "${COMPREPLY[@]}"
complete -p vindrel >&2"""


def completions(script, *words):
    done = subprocess.run(["bash", "-c", SCRIPT, "bash", script, "vindrel", *words], check=True, capture_output=True,
                          text=True)
    check(done.stderr == "complete -F _vindrel vindrel\n", "nothing else is said: " + done.stderr)
    return set(done.stdout.split())


def check(condition, what):
    if not condition:
        sys.exit("not so: " + what)


def offered(program, *command):
    text = subprocess.run([program, *command, "--help"], check=True, capture_output=True, text=True).stdout
    options = {option for names in re.findall(r"^  (-\S+)", text, flags=re.M) for option in names.split(",")}
    commands = set(re.findall(r"^  ([a-z]+)\s", text[text.lower().index("commands"):], flags=re.M)) if not command else set()
    return options, commands


def main():
    program, script = sys.argv[1:]
    options, commands = offered(program)
    check(len(commands) >= 5, "there are commands")
    check(completions(script, "") == commands | options, "commands and the options before them")
    check(completions(script, "a") == {name for name in commands if name.startswith("a")}, "beginnings of commands")
    words = 0
    for command in sorted(commands):
        ofCommand, _ = offered(program, command)
        check(completions(script, command, "-") == ofCommand, "options of " + command)
        for option in sorted(ofCommand & {"--model", "--reference", "--crop", "--filter", "--on-unaligned", "--motion"}):
            taken = completions(script, command, option, "")
            check(len(taken) >= 2, "%s %s takes words" % (command, option))
            for word in sorted(taken):
                words += 1
                refused = subprocess.run([program, command, option, word], capture_output=True, text=True).stderr
                check(option not in refused, "%s %s %s is taken: %s" % (command, option, word, refused))
    check(script in completions(script, "align", script[:-2]), "files")
    check(completions(script, "align", "--name", "") == set(), "nothing where nothing can be known")
    print("%d commands, %d words" % (len(commands), words))


main()
