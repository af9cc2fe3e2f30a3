"""Reads the files of a copy, mapped as renderers map them, while updates run.

usage: readers.py COPY MANIFEST...
Each manifest has the digests and paths of the files of a release. Every file that is found must be
one of them, whole, and a mapping that is kept must keep its content. Ends on SIGTERM, with status 1
if a file was anything else, or with SIGBUS if a mapped file was cut.
"""

import collections
import hashlib
import mmap
import os
import random
import signal
import sys

MOST_KEPT = 100


def digest_of(content):
    return hashlib.sha256(content).hexdigest()


def look(path):
    """The mapped content of the file, b"" of an empty one, None when there is none."""
    try:
        with open(path, "rb") as file:
            if os.fstat(file.fileno()).st_size == 0:
                return b""
            return mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
    except FileNotFoundError:
        return None


def main():
    copy, *manifests = sys.argv[1:]
    known = collections.defaultdict(set)
    for manifest in manifests:
        with open(manifest, encoding="utf-8") as lines:
            for line in lines:
                digest, path = line.rstrip("\n").split("  ", 1)
                known[path].add(digest)

    over = []
    signal.signal(signal.SIGTERM, lambda *_: over.append(True))
    print("ready", flush=True)
    paths = sorted(known)
    kept = collections.deque()
    looks = absent = 0
    while not over:
        for path in random.sample(paths, len(paths)):
            content = look(os.path.join(copy, path))
            if content is None:
                absent += 1
                continue
            looks += 1
            digest = digest_of(content)
            if digest not in known[path]:
                sys.exit(f"{path} is of no release: {len(content)} bytes")
            kept.append((path, content, digest))
            if len(kept) > MOST_KEPT:
                path, content, digest = kept.popleft()
                if digest_of(content) != digest:
                    sys.exit(f"{path} has changed below its reader")
            if over:
                break
    print(f"{looks} looks, {absent} files not there")


main()
