#!/usr/bin/env python3
"""Writes the fuzz targets' seed inputs into OUTDIR/<target>/: the sample
prompts and the examples of docs/prompt-format.md, as records, lists, frames
and links, with a few broken ones beside them."""
import base64
import json
import pathlib
import re
import struct
import sys

root = pathlib.Path(__file__).resolve().parent.parent
out = pathlib.Path(sys.argv[1])


def compact(value):
    return json.dumps(value, separators=(",", ":"), ensure_ascii=False).encode()


def write(target, seeds):
    folder = out / target
    folder.mkdir(parents=True, exist_ok=True)
    for number, seed in enumerate(seeds):
        (folder / f"seed-{number:02}").write_bytes(seed)


def frame(body):
    return struct.pack(">I", len(body)) + body


sample = (root / "tools/zor-dev-agent/sample-prompts.json").read_bytes()
samples = json.loads(sample)
doc = (root / "docs/prompt-format.md").read_text()
blocks = re.findall(r"```json\n(.*?)```", doc, re.S)
examples = [json.loads(b) for b in blocks if '"denial"' in b]
messages = [json.loads(line) for b in blocks if '"type"' in b for line in b.splitlines()]
records = samples + examples

broken = dict(examples[0], denial=dict(examples[0]["denial"], kind="fax"))
write("fuzz-prompt-record", [compact(r) for r in records] + [compact(broken)])
write("fuzz-prompt-list", [
    sample,
    compact(examples),
    b"[]",
    compact([examples[0], broken, examples[1]]),
    compact(examples)[:-1],
])

data = lambda value: base64.b64encode(compact(value)).decode()
stream = b"".join(frame(compact(m)) for m in messages + [
    {"type": "call", "method": "getPrompts", "id": 1},
    {"type": "reply", "id": 1, "data": data(examples)},
    {"type": "callback", "method": "promptAdded", "data": data(examples[2])},
    {"type": "callback", "method": "promptsCleared", "sessionId": "s-1043"},
])
unreadable = [
    struct.pack(">I", 0),
    frame(b"[1]"),
    frame(b'{"type":'),
    struct.pack(">I", 16 * 1024 * 1024 + 1) + b"x" * 40,
]
# The first byte of a frame seed picks how the stream is cut.
write("fuzz-frame-decoder",
      [bytes([cut]) + stream for cut in (0, 7, 63)] +
      [bytes([cut]) + bad + frame(compact(messages[0])) for cut, bad in enumerate(unreadable)])

ids = [r["id"] for r in records]
write("fuzz-prompt-url", [f"zor://prompt/{i}".encode() for i in ids] + [
    f"zor://prompt//{ids[0].upper()}/more?query#fragment".encode(),
    f"ZOR://prompt/{ids[0]}".encode(),
    f"zor://prompt/{{{ids[0]}}}".encode(),
    f"zor://prompt/{ids[0]}%20".encode(),
])
