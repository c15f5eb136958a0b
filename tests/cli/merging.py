"""The commands of docs/merging.md do what they say, as they stand there: a bracket is made and aligned, and each of the
merging programs that are installed makes a picture of the aligned frames' size.

usage: merging.py PROGRAM MERGING_MD PHOTOGRAPH; exits with 77 where no merging program is installed
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

PREPARING = 1                          # the first block makes the frames
TOOLS = ("enfuse", "python3", "luminance-hdr-cli")  # of the others, in their order
RESULTS = {"enfuse": ["fused.tif"], "python3": ["mertens.png"], "luminance-hdr-cli": ["merged.exr", "toned.jpg"]}


def check(condition, what):
    if not condition:
        sys.exit("not so: " + what)


def installed(tool):
    if tool == "python3":
        return subprocess.run(["/usr/bin/python3", "-c", "import cv2"], capture_output=True).returncode == 0
    return shutil.which(tool) is not None


def sizeOf(program, path):
    report = subprocess.run([program, "info", "--json", path], check=True, capture_output=True, text=True).stdout
    entry = json.loads(report)["files"][0]
    return entry["width"], entry["height"]


def main():
    program, document, photograph = (os.path.abspath(path) for path in sys.argv[1:])
    with open(document) as file:
        blocks = re.findall(r"^```sh\n(.*?)^```", file.read(), flags=re.M | re.S)
    check(len(blocks) == PREPARING + len(TOOLS), "the document has the commands that are tried here")
    for tool, block in zip(TOOLS, blocks[PREPARING:]):
        check(tool in block, tool + " has its block")
    tools = [tool for tool in TOOLS if installed(tool)]
    if not tools or not os.path.exists(photograph):
        print("no merging program or no photograph is installed")
        sys.exit(77)

    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(photograph, os.path.join(folder, "photo.jpg"))
        paths = ["/usr/bin", os.path.dirname(program), os.environ["PATH"]]
        environment = dict(os.environ, PATH=os.pathsep.join(paths), HOME=folder)

        def run(block):
            done = subprocess.run(["bash", "-e", "-c", block], cwd=folder, env=environment, capture_output=True,
                                  text=True)
            check(done.returncode == 0, "this succeeds:\n" + block + done.stdout + done.stderr)

        run(blocks[0])
        frames = sorted(os.listdir(os.path.join(folder, "aligned")))
        check(frames == ["frame_00.tif", "frame_01.tif", "frame_02.tif"], "all frames are aligned: %s" % frames)
        size = sizeOf(program, os.path.join(folder, "aligned", frames[0]))
        for tool in tools:
            run(blocks[PREPARING + TOOLS.index(tool)])
            for result in RESULTS[tool]:
                path = os.path.join(folder, result)
                check(os.path.exists(path), tool + " writes " + result)
                check(sizeOf(program, path) == size, result + " has the size of the frames")
    print("merged by " + ", ".join(tools))


main()
