"""What is installed can be used from outside, wherever it is moved to.

Installs the build tree into a scratch folder, moves the result, then builds and runs a C program against the flat
interface and a C++ program against the C++ interface, each with CMake's find_package and with pkg-config, and loads the
flat library by its published name. The program's completion is found by bash.

usage: installed.py CMAKE CC CXX PKG_CONFIG BUILD_FOLDER THIS_FOLDER SCRATCH_FOLDER
"""

import os
import shutil
import subprocess
import sys

# As a shell does when it is asked to complete a command that it knows nothing of.
LOAD_COMPLETION = """source /usr/share/bash-completion/bash_completion
_completion_loader vindrel
complete -p vindrel"""


def run(*command, **environment):
    print("+", " ".join(command), flush=True)
    subprocess.run(command, check=True, env={**os.environ, **environment})


def output(*command, **environment):
    return subprocess.run(command, check=True, env={**os.environ, **environment}, capture_output=True,
                          text=True).stdout.strip()


def findFolder(top, name):
    for folder, _, names in os.walk(top):
        if name in names:
            return folder
    sys.exit("%s was not installed" % name)


def checkProgram(prefix):
    """What comes with the program: schemas, and a completion that bash-completion finds by itself."""
    for command in ("align", "apply", "info", "simulate", "straighten"):
        if not os.path.exists(os.path.join(prefix, "share", "vindrel", command + ".schema.json")):
            sys.exit("the schema of what %s prints was not installed" % command)
    found = output("bash", "--norc", "-c", LOAD_COMPLETION, XDG_DATA_DIRS=os.path.join(prefix, "share"))
    if found != "complete -F _vindrel vindrel":
        sys.exit("bash-completion does not find the installed completion: %r" % found)


def main():
    cmake, compiler, cppCompiler, pkgConfig, build, here, scratch = sys.argv[1:]
    source = os.path.join(here, "consumer")
    shutil.rmtree(scratch, ignore_errors=True)
    first, prefix = os.path.join(scratch, "first"), os.path.join(scratch, "moved here", "prefix")
    output(cmake, "--install", build, "--prefix", first)
    os.makedirs(os.path.dirname(prefix))
    os.rename(first, prefix)

    libraryFolder = findFolder(prefix, "VindrelRegLib-QVA.so.1")
    findFolder(os.path.join(prefix, "include"), "VindrelRegLib.h")
    findFolder(prefix, "libvindrel.so.1")
    headers = set(os.listdir(os.path.join(prefix, "include", "vindrel")))
    if headers != set(os.listdir(os.path.join(here, "..", "..", "include", "vindrel"))):
        sys.exit("the installed C++ headers are not those of the tree: %s" % sorted(headers))
    for name in ("LICENSE", "README.md", "transforms.schema.json"):
        findFolder(prefix, name)
    # Where Doxygen is there, the references of both interfaces, the one inside the other.
    for page in ("VindrelRegLib_8h.html", os.path.join("cpp", "stack_8hpp.html")):
        if os.path.isfile(os.path.join(build, "docs", "html", page)):
            folder = os.path.join(findFolder(prefix, "VindrelRegLib_8h.html"), os.path.dirname(page))
            if not os.path.isfile(os.path.join(folder, "index.html")):
                sys.exit("%s: the reference was not installed whole" % page)
    if os.path.exists(os.path.join(prefix, "bin", "vindrel")):
        checkProgram(prefix)
    for folder, _, names in os.walk(prefix):
        for name in names:
            with open(os.path.join(folder, name), "rb") as file:
                content = file.read()
            for place in (first, build):
                if os.fsencode(place) in content:
                    sys.exit("%s names the folder %s" % (name, place))

    strict = "-std=c11 -Wall -Wextra -Wpedantic -Werror"
    consumer = os.path.join(scratch, "with_cmake")
    run(cmake, "-G", "Ninja", "-S", source, "-B", consumer, "-DCMAKE_PREFIX_PATH=" + prefix,
        "-DCMAKE_C_COMPILER=" + compiler, "-DCMAKE_C_FLAGS=" + strict, "-DCMAKE_BUILD_TYPE=Release")
    run(cmake, "--build", consumer)
    run(os.path.join(consumer, "align_two"))

    # pkg-config writes its flags for a shell: the space in the folder's name comes escaped.
    path = {"PKG_CONFIG_PATH": findFolder(prefix, "VindrelRegLib.pc")}
    flags = output(pkgConfig, "--cflags", "--libs", "VindrelRegLib", **path)
    program = os.path.join(scratch, "with_pkg_config")
    run("/bin/sh", "-c", '"$1" %s "$2" -o "$3" %s' % (strict, flags), "sh", compiler,
        os.path.join(source, "align_two.c"), program)
    run(program, LD_LIBRARY_PATH=libraryFolder)

    loader = os.path.join(scratch, "load_by_name")
    run(compiler, *strict.split(), os.path.join(source, "load_by_name.c"), "-o", loader, "-ldl")
    run(loader, LD_LIBRARY_PATH=libraryFolder)

    useCpp(cmake, cppCompiler, pkgConfig, os.path.join(here, "cpp_consumer"), prefix, scratch)


def useCpp(cmake, compiler, pkgConfig, source, prefix, scratch):
    strict = "-std=c++20 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"
    consumer = os.path.join(scratch, "cpp_with_cmake")
    run(cmake, "-G", "Ninja", "-S", source, "-B", consumer, "-DCMAKE_PREFIX_PATH=" + prefix,
        "-DCMAKE_CXX_COMPILER=" + compiler, "-DCMAKE_CXX_FLAGS=" + strict, "-DCMAKE_BUILD_TYPE=Release")
    run(cmake, "--build", consumer)
    run(os.path.join(consumer, "align_source"), os.path.join(scratch, "first.json"))

    flags = output(pkgConfig, "--cflags", "--libs", "vindrel", PKG_CONFIG_PATH=findFolder(prefix, "vindrel.pc"))
    program = os.path.join(scratch, "cpp_with_pkg_config")
    run("/bin/sh", "-c", '"$1" %s "$2" -o "$3" %s' % (strict, flags), "sh", compiler,
        os.path.join(source, "align_source.cpp"), program)
    run(program, os.path.join(scratch, "second.json"), LD_LIBRARY_PATH=findFolder(prefix, "libvindrel.so.1"))
    # One library, whichever way it was found.
    if open(os.path.join(scratch, "first.json"), "rb").read() != open(os.path.join(scratch, "second.json"), "rb").read():
        sys.exit("the two programs saved different transforms")


main()
