# The Python side of a MessagePack conversation with msgpack_peer.c over
# its standard input and output. Each round the C side sends a message of
# its making; this side echoes it (packed again by Python's msgpack) and
# sends one of its own, which the C side echoes (written again by the
# library). Checked here, bit for bit: each C message is exactly what
# Python packs for the value it holds, and each echo of a Python message
# is exactly the bytes Python sent.
import math
import os
import random
import sys

import msgpack

TEXTS = ["", "plain", "caf\u00e9", "\u65e5\u672c\u8a9e", "\U0001f600", "tab\tquote\"", "nul\x00byte"]


def text(rng):
    if rng.random() < 0.0005:
        return "x" * 70000  # a str 32 header
    return "".join(rng.choice(TEXTS) for _ in range(rng.choice([1, 1, 2, 12, 80])))


def scalar(rng):
    kind = rng.randrange(9)
    if kind == 0:
        return rng.randrange(-(2**63), 2**64)
    if kind == 1:
        return rng.randrange(-40, 300)
    if kind == 2:
        return rng.choice([0.0, -0.0, 1.5, math.inf, -math.inf, math.nan, 1e-300]) * rng.choice([1, 3])
    if kind == 3:
        return rng.random() * 10 ** rng.randrange(-30, 30)
    if kind == 4:
        return text(rng)
    if kind == 5:
        return bytes(rng.randrange(256) for _ in range(rng.choice([0, 3, 300, 70000 if rng.random() < 0.002 else 5])))
    if kind == 6:
        return rng.random() < 0.5
    return None if kind == 7 else rng.randrange(2**32)


def value(rng, depth):
    kind = rng.randrange(10 if depth < 3 else 6)
    if kind < 6:
        return scalar(rng)
    if kind < 8:
        return [value(rng, depth + 1) for _ in range(rng.choice([0, 1, 3, 20]))]
    return {key(rng, i): value(rng, depth + 1) for i in range(rng.choice([0, 2, 6, 17]))}


def key(rng, i):
    return rng.choice(["id", "name", "k\u00e9y", "\U0001f511", "score"]) + str(i)


def message(rng):
    return {key(rng, i): value(rng, 1) for i in range(6)}


class Inbox:
    """Messages read from a descriptor, each with its raw bytes."""

    def __init__(self, fd):
        self.fd = fd
        self.unpacker = msgpack.Unpacker(raw=False, strict_map_key=False)
        self.raw = bytearray()  # bytes read since the last message's end
        self.taken = 0  # the unpacker's position at raw's start

    def next(self):
        while True:
            try:
                v = self.unpacker.unpack()
            except msgpack.OutOfData:
                data = os.read(self.fd, 65536)
                if not data:
                    return None, None
                self.raw += data
                self.unpacker.feed(data)
                continue
            end = self.unpacker.tell() - self.taken
            raw = bytes(self.raw[:end])
            del self.raw[:end]
            self.taken = self.unpacker.tell()
            return v, raw


def main():
    rng = random.Random(1234)
    inbox = Inbox(0)
    rounds = failures = 0
    while True:
        theirs, raw = inbox.next()
        if raw is None:
            break
        if msgpack.packb(theirs) != raw:
            failures += 1
            ours = msgpack.packb(theirs)
            print("round %d: their bytes %s, ours %s" % (rounds, raw[:80].hex(), ours[:80].hex()), file=sys.stderr)
        mine = msgpack.packb(message(rng))
        os.write(1, msgpack.packb(theirs))
        os.write(1, mine)
        _, echo = inbox.next()
        if echo != mine:
            failures += 1
            print("round %d: sent %s, echoed %s" % (rounds, mine[:80].hex(), (echo or b"")[:80].hex()), file=sys.stderr)
        rounds += 1
    print("python: %d rounds, %d disagreements" % (rounds, failures), file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
