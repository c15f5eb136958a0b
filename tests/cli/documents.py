"""What `vindrel align --json` prints, whatever happens, is one document that its schema describes, and says what the
files on disk say.

usage: documents.py PROGRAM FOLDER_OF_SCHEMAS
"""

import json
import os
import random
import struct
import subprocess
import sys
import tempfile
import zlib

import jsonschema

PHOTOGRAPH = "/usr/share/backgrounds/Wine_by_Jakkub_Mede.jpg"


def run(program, *arguments):
    done = subprocess.run([program, *arguments], capture_output=True, text=True)
    return done.returncode, done.stdout, done.stderr


def check(condition, what):
    if not condition:
        sys.exit("not so: " + what)


def writeNoise(path, width, height):
    """An 8-bit RGB picture of dark noise, darker than any frame, so that none hangs on it."""
    noise = random.Random(1)
    rows = b"".join(b"\0" + bytes(value // 16 for value in noise.randbytes(3 * width)) for _ in range(height))
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n")
        for kind, content in ((b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)),
                              (b"IDAT", zlib.compress(rows)), (b"IEND", b"")):
            file.write(struct.pack(">I", len(content)) + kind + content)
            file.write(struct.pack(">I", zlib.crc32(kind + content)))


class Documents:
    def __init__(self, program, schemas, folder):
        self.program, self.schemas, self.folder = program, schemas, folder
        self.count = 0

    def path(self, name):
        return os.path.join(self.folder, name)

    def document(self, command, expectedCode, *arguments):
        """Runs a command with --json and hands back the document, once it has been checked against the schema."""
        code, out, errors = run(self.program, command, *arguments, "--json")
        check(code == expectedCode, "%s ends with %d: %d, %s" % (arguments, expectedCode, code, errors))
        document = json.loads(out)
        with open(os.path.join(self.schemas, command + ".schema.json"), encoding="utf-8") as file:
            schema = json.load(file)
        jsonschema.Draft7Validator.check_schema(schema)
        jsonschema.validate(document, schema)
        check(document["exitCode"] == code, "the document tells the exit code")
        for warning in document.get("warnings", []):
            check("vindrel: " + warning + "\n" in errors, "warnings are on standard error too: " + warning)
        self.count += 1
        return document

    def align(self, expectedCode, *arguments):
        return self.document("align", expectedCode, *arguments)


def alignDocuments(documents):
    frames = [documents.path("frame_%02d.png" % i) for i in range(3)]
    out = documents.path("out")
    report = documents.align(0, *frames, "-o", out, "--truth", documents.path("truth.json"))
    check(report["written"] and report["modelScores"] == {} and report["warnings"] == [], "all went well")
    check([frame["file"] for frame in report["frames"]] == frames, "frames stand in the order given")
    check(report["frames"][report["reference"]]["verdict"] == "reference", "the reference is an index")
    check(sorted(frame["rank"] for frame in report["frames"]) == [0, 1, 2], "ranks are a permutation")
    check(report["crop"] == report["common"], "the crop is the common rectangle")
    for frame in report["frames"]:
        _, size, _ = run(documents.program, "info", "--json", frame["output"])
        entry = json.loads(size)["files"][0]
        check(entry["width"] == report["crop"]["width"] and entry["height"] == report["crop"]["height"],
              "outputs have the crop's size")
        check(frame["cornerError"] < 3, "the truth is met at the worst corner")

    dry = documents.align(0, *frames, "-n", "--crop", "none", "--model", "auto")
    check(not dry["written"] and all(frame["output"] is None for frame in dry["frames"]), "a dry run writes nothing")
    check(dry["crop"] == {"x": 0, "y": 0, **dry["frameSize"]}, "uncropped outputs show the whole frame")
    check(dry["model"] == min(dry["modelScores"], key=dry["modelScores"].get), "the model costs least")

    lost = [*frames, documents.path("other.png")]
    for policy, written in (("guess", 4), ("keep", 4), ("drop", 3), ("fail", 0)):
        report = documents.align(3, *lost, "-o", out, "--overwrite", "--on-unaligned", policy)
        check(sum(frame["output"] is not None for frame in report["frames"]) == written, policy)
        check(report["frames"][3]["verdict"] == "not aligned" and report["frames"][3]["reason"], "the reason is told")
        check(len(report["warnings"]) == 1, "and is a warning")
        check(report["written"] == (policy != "fail"), "nothing is written when that fails the run")

    check("exists already" in documents.align(5, *frames, "-o", out)["error"], "would overwrite")
    check("no such file" in documents.align(4, documents.path("none.png"), "-o", out)["error"], "unreadable")
    check("--reference 9" in documents.align(2, *frames, "-o", out, "--reference", "9")["error"], "usage")
    check("cannot be used" in documents.align(1, *frames, "-o", frames[0] + "/x")["error"], "failed")


def main():
    program, schemas = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="vindrel-test-") as folder:
        code, _, errors = run(program, "simulate", PHOTOGRAPH, "-o", folder, "--frames", "3", "--ev", "1", "--width",
                              "500")
        check(code == 0, errors)
        size = json.loads(run(program, "info", "--json", os.path.join(folder, "frame_00.png"))[1])["files"][0]
        writeNoise(os.path.join(folder, "other.png"), size["width"], size["height"])
        documents = Documents(program, schemas, folder)
        alignDocuments(documents)
        print("%d documents" % documents.count)


main()
