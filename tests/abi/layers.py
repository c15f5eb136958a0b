"""Every include follows the order of the layers: downwards, or within the folder.

usage: layers.py PROJECT_FOLDER
"""

import os
import re
import sys

# A folder may include its own files and those of the folders named here. Folders of the same rank do not see each
# other. The program sees the public headers of the C++ interface only, and of those the layers below it see the value
# types alone.
BELOW = {
    "base": [],
    "lmfit": ["base"],
    "transform": ["base", "lmfit"],
    "features": ["base", "lmfit", "transform"],
    "translate": ["base", "lmfit", "transform"],
    "warp": ["base", "lmfit", "transform", "features", "translate"],
    "perspective": ["base", "lmfit", "transform", "features", "translate", "warp"],
    "driver": ["base", "lmfit", "transform", "features", "translate", "warp"],
    "vindrel": ["base", "lmfit", "transform", "features", "translate", "warp", "perspective", "driver"],
    "cli": [],
}
VALUE_TYPES = "vindrel/image.hpp"
SEE_PUBLIC_HEADERS = ("vindrel", "cli")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.M)


def sourceFiles(project):
    for top in ("src", "cli"):
        for folder, _, names in os.walk(os.path.join(project, top)):
            for name in sorted(names):
                if name.endswith((".h", ".cpp", ".c", ".inc")):
                    relative = os.path.relpath(os.path.join(folder, name), project).split(os.sep)
                    yield os.path.join(folder, name), relative[0] if top == "cli" else relative[1]


def ownFile(project, path, included):
    """The program's own files are named from cli/ or from the including file's folder."""
    return any(os.path.exists(os.path.join(folder, included))
               for folder in (os.path.join(project, "cli"), os.path.dirname(path)))


def main():
    project = sys.argv[1]
    problems, includes = [], 0
    for path, layer in sourceFiles(project):
        if layer not in BELOW:
            problems.append("%s: the folder '%s' has no place in the order" % (path, layer))
            continue
        with open(path) as file:
            for included in INCLUDE.findall(file.read()):
                includes += 1
                if included == "VindrelRegLib.h":
                    continue  # for its types; that nobody calls its functions is boundary.py's to see
                if layer == "cli" and ownFile(project, path, included):
                    continue
                if "/" not in included:
                    problems.append('%s: "%s" is not rooted at the source folder' % (path, included))
                    continue
                target = included.split("/")[0]
                if included.endswith(".hpp") and (included == VALUE_TYPES or layer in SEE_PUBLIC_HEADERS):
                    continue
                if target != layer and target not in BELOW[layer]:
                    problems.append('%s: "%s" is not below %s' % (path, included, layer))
    print("%d includes" % includes)
    if includes < 10:
        problems.append("hardly any include was found: is %s the project's folder?" % project)
    if problems:
        sys.exit("\n".join(problems))


main()
