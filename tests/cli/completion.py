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


TAKING_WORDS = {"--model", "--reference", "--crop", "--filter", "--on-unaligned", "--motion", "--depth"}


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
        taken = {option: sorted(completions(script, command, option, ""))
                 for option in sorted(ofCommand & TAKING_WORDS)}
        for option, ofOption in taken.items():
            check(len(ofOption) >= 2, "%s %s takes words" % (command, option))
            words += len(ofOption)
        # A word of every option at a time, and again one after the other: a start of the program takes long.
        for turn in range(max(map(len, taken.values()), default=0)):
            arguments = [text for option, ofOption in taken.items() for text in (option, ofOption[turn % len(ofOption)])]
            refused = subprocess.run([program, command, *arguments], capture_output=True, text=True).stderr
            check(not any(option in refused for option in taken), "%s %s are taken: %s" % (command, arguments, refused))
        if taken:
            option = list(taken)[-1]
            refused = subprocess.run([program, command, option, "nonsense"], capture_output=True, text=True).stderr
            check(option in refused, "%s %s nonsense is refused" % (command, option))
    check(script in completions(script, "align", script[:-2]), "files")
    check(completions(script, "align", "--name", "") == set(), "nothing where nothing can be known")
    print("%d commands, %d words" % (len(commands), words))


main()
