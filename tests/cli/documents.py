"""What the commands print with --json, whatever happens, is one document that its schema describes, and says what the
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
        check(document["format"] == "vindrel-" + command, "the document tells whose it is")
        check(command == "info" or document["exitCode"] == code, "the document tells the exit code")
        for warning in document.get("warnings", []):
            check("vindrel: " + warning + "\n" in errors, "warnings are on standard error too: " + warning)
        self.count += 1
        return document

    def align(self, expectedCode, *arguments):
        return self.document("align", expectedCode, *arguments)

    def sizeOf(self, picture):
        entry = self.document("info", 0, picture)["files"][0]
        return {"width": entry["width"], "height": entry["height"]}


def checkShows(documents, picture, crop):
    check(documents.sizeOf(picture) == {"width": crop["width"], "height": crop["height"]}, "outputs have the crop's size")


def simulateDocuments(documents):
    """The frames of the other documents."""
    report = documents.document("simulate", 0, PHOTOGRAPH, "-o", documents.folder, "--frames", "3", "--ev", "1",
                                "--width", "500", "--seed", "0")
    with open(report["truth"], encoding="utf-8") as file:
        truth = json.load(file)
    for name in ("motion", "seed", "evStep", "depth"):
        check(report[name] == truth[name], "the document and truth.json tell one " + name)
    for said, true in zip(report["frames"], truth["frames"], strict=True):
        check(os.path.basename(said["output"]) == true["file"] and os.path.exists(said["output"]), "frames are there")
        check(said["ev"] == true["ev"] and said["frameFromScene"] == true["frameFromScene"], "and lie where they lie")
        check(documents.sizeOf(said["output"]) == report["frameSize"], "and have their size")
    check("exists already" in documents.document("simulate", 5, PHOTOGRAPH, "-o", documents.folder, "--frames", "3")
          ["error"], "would overwrite")
    check("no such file" in documents.document("simulate", 4, documents.path("none.png"), "-o", documents.path("x"),
                                               "--frames", "1")["error"], "unreadable")
    check("only reduces" in documents.document("simulate", 2, PHOTOGRAPH, "-o", documents.path("x"), "--frames", "1",
                                               "--width", "99999")["error"], "usage")
    return [frame["output"] for frame in report["frames"]]


def applyDocuments(documents, frames):
    moves, out = documents.path("moves.json"), documents.path("applied")
    aligned = documents.align(3, *frames, documents.path("other.png"), "--transforms-out", moves)
    images = frames[:2]
    report = documents.document("apply", 3, *frames, documents.path("other.png"), "--transforms", moves, "-o", out)
    check([image["file"] for image in report["images"]] == [frame["file"] for frame in aligned["frames"]], "in order")
    for index, (image, frame) in enumerate(zip(report["images"], aligned["frames"], strict=True)):
        check(image["frame"] == index, "image by image")
        check(image["verdict"] == frame["verdict"] and image["reason"] == frame["reason"], "verdicts are the saved ones")
        checkShows(documents, image["output"], report["crop"])
    check(len(report["warnings"]) == 1 and "frame 4" in report["warnings"][0], "the lost frame is a warning")
    check(report["model"] == aligned["model"] and report["crop"] == aligned["common"], "as they were saved")

    mask = documents.document("apply", 0, *images, "--transforms", moves, "-o", out, "--frame", "2", "--crop", "none",
                              "--filter", "nearest", "--name", "mask_{name}")
    check([image["frame"] for image in mask["images"]] == [1, 1], "all by one frame, counted from 0")
    check(mask["crop"] == {"x": 0, "y": 0, **mask["frameSize"]} and mask["filter"] == "nearest", "uncropped")
    again = ["--transforms", moves, "-o", out]
    check("exists already" in documents.document("apply", 5, *images, *again, "--frame", "1")["error"], "would overwrite")
    check("--frame 5" in documents.document("apply", 2, *images, *again, "--frame", "5", "--overwrite")["error"], "usage")
    check("none.json" in documents.document("apply", 4, *images, "--transforms", documents.path("none.json"), "-o", out)
          ["error"], "unreadable")


def straightenDocuments(documents, photograph):
    out = documents.path("straight.png")
    report = documents.document("straighten", 0, photograph, "-o", out, "--vertical", "-0.05", "--rotate", "2")
    check((report["vertical"], report["horizontal"], report["rotate"]) == (-0.05, 0, 2), "what was asked for")
    check((report["file"], report["output"]) == (photograph, out), "the files")
    check(documents.sizeOf(photograph) == report["frameSize"], "the photograph's size")
    checkShows(documents, out, report["crop"])
    # The corners of what is shown lie within the photograph.
    m, crop = report["sourceFromOutput"], report["crop"]
    for x in (crop["x"], crop["x"] + crop["width"] - 1):
        for y in (crop["y"], crop["y"] + crop["height"] - 1):
            w = m[6] * x + m[7] * y + m[8]
            check(-1 < (m[0] * x + m[1] * y + m[2]) / w < report["frameSize"]["width"], "columns of the photograph")
            check(-1 < (m[3] * x + m[4] * y + m[5]) / w < report["frameSize"]["height"], "rows of the photograph")
    check("exists already" in documents.document("straighten", 5, photograph, "-o", out)["error"], "would overwrite")
    check("what to write" in documents.document("straighten", 2, photograph, "-o", "a.gif")["error"], "usage")
    missing = documents.document("info", 4, photograph, documents.path("none.png"))["files"]
    check("error" not in missing[0] and "no such file" in missing[1]["error"], "info tells file by file")


def alignDocuments(documents, frames):
    out = documents.path("out")
    report = documents.align(0, *frames, "-o", out, "--truth", documents.path("truth.json"))
    check(report["written"] and report["modelScores"] == {} and report["warnings"] == [], "all went well")
    check([frame["file"] for frame in report["frames"]] == frames, "frames stand in the order given")
    check(report["frames"][report["reference"]]["verdict"] == "reference", "the reference is an index")
    check(sorted(frame["rank"] for frame in report["frames"]) == [0, 1, 2], "ranks are a permutation")
    check(report["crop"] == report["common"], "the crop is the common rectangle")
    for frame in report["frames"]:
        checkShows(documents, frame["output"], report["crop"])
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
        documents = Documents(program, schemas, folder)
        frames = simulateDocuments(documents)
        writeNoise(documents.path("other.png"), **documents.sizeOf(frames[0]))
        alignDocuments(documents, frames)
        applyDocuments(documents, frames)
        straightenDocuments(documents, frames[0])
        print("%d documents" % documents.count)


main()
