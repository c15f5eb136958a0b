"""Saved transforms fit their schema, and other programs read what is exported, to the last bit.

The schema is tried too: it has to refuse what does not belong in a file.

usage: readers.py WRITER SCHEMA SCRATCH_FOLDER
"""

import copy
import json
import os
import shutil
import subprocess
import sys

import jsonschema
import numpy
import yaml


def yamlOf(path):
    """What FileStorage writes is YAML but for its first line; a matrix is a tagged mapping."""
    with open(path, encoding="utf-8") as file:
        first = file.readline()
        text = file.read()
    assert first == "%YAML:1.0\n", first

    class Loader(yaml.SafeLoader):
        pass

    Loader.add_constructor("!!opencv-matrix", None)
    Loader.add_constructor("tag:yaml.org,2002:opencv-matrix",
                           lambda loader, node: loader.construct_mapping(node, deep=True))
    return yaml.load(text, Loader)


def spoiled(document):
    """Copies of a valid document, each with one thing wrong."""
    def change(edit):
        copied = copy.deepcopy(document)
        edit(copied)
        return copied

    for name in document:
        if name != "modelScores":
            yield "without " + name, change(lambda d: d.pop(name))
    for name in document["frames"][0]:
        yield "a frame without " + name, change(lambda d: d["frames"][0].pop(name))
    yield "another version", change(lambda d: d.update(version=2))
    yield "another format", change(lambda d: d.update(format="other"))
    yield "the other direction", change(lambda d: d.update(direction="referenceFromFrame"))
    yield "no frames", change(lambda d: d.update(frames=[]))
    yield "eight elements", change(lambda d: d["frames"][0]["matrix"].pop())
    yield "a word among the elements", change(lambda d: d["frames"][0]["matrix"].__setitem__(0, "one"))
    yield "no width", change(lambda d: d["frameSize"].update(width=0))
    yield "no threads", change(lambda d: d.update(threads=0))
    yield "an unknown verdict", change(lambda d: d["frames"][0].update(verdict="perhaps"))
    yield "more than all of the frame", change(lambda d: d["frames"][0].update(coverage=1.5))


def main():
    writer, schemaFile, scratch = sys.argv[1:]
    shutil.rmtree(scratch, ignore_errors=True)
    os.makedirs(scratch)
    names = subprocess.run([writer, scratch], check=True, capture_output=True, text=True).stdout.split()
    with open(schemaFile, encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    for name in names:
        path = os.path.join(scratch, name)
        with open(path + ".json", encoding="utf-8") as file:
            document = json.load(file)
        validator.validate(document)
        matrices = numpy.array([frame["matrix"] for frame in document["frames"]]).reshape(-1, 3, 3)
        array = numpy.load(path + ".npy", allow_pickle=False)
        assert array.dtype == numpy.dtype("<f8") and array.shape == matrices.shape, (array.dtype, array.shape)
        assert array.tobytes() == matrices.tobytes(), name
        exported = yamlOf(path + ".yml")
        assert exported["model"] == document["model"] and exported["reference"] == document["reference"]
        assert exported["frameSize"] == [document["frameSize"][side] for side in ("width", "height")]
        assert exported["crop"] == [document["crop"][field] for field in ("x", "y", "width", "height")]
        assert len(exported["frames"]) == len(matrices)
        for frame, own, matrix in zip(exported["frames"], document["frames"], matrices):
            assert frame["name"] == own["name"] and frame["verdict"] == own["verdict"], frame
            stored = frame["matrix"]
            assert (stored["rows"], stored["cols"], stored["dt"]) == (3, 3, "d"), stored
            assert numpy.array([float(x) for x in stored["data"]]).tobytes() == matrix.tobytes(), (name, stored)
        print("%s: %d frames" % (name, len(matrices)))
    count = 0
    for what, wrong in spoiled(document):
        if validator.is_valid(wrong):
            sys.exit("the schema lets pass: " + what)
        count += 1
    print("%d spoiled documents refused" % count)


main()
