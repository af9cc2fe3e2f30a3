"""Measures what a long body costs when its transfer is cut again and again."""

import os
import random
import re

from server import Handler, own_server

CUTS = 10


class Cutter:
    """Serves a folder, and cuts the body of one file at random places. It counts what it sends."""

    def __init__(self, folder, name):
        self.folder = folder
        self.path = "/lib/" + name
        size = os.path.getsize(folder / name)
        self.cuts = sorted(random.sample(range(1, size), CUTS))
        self.sent = 0

    def send(self, source, start, end, sink):
        """Bytes of the file, up to the next cut; whether nothing was cut."""
        cut = self.cuts.pop(0) if self.cuts else end
        source.seek(start)
        left = min(cut, end) - start
        while left > 0:
            piece = source.read(min(left, 1 << 16))
            sink.write(piece)
            self.sent += len(piece)
            left -= len(piece)
        return cut >= end


def cutting_handler(cutter):
    class CuttingHandler(Handler):
        def translate_path(self, path):
            return str(cutter.folder / path.removeprefix("/lib/"))

        def do_GET(self):
            if self.path != cutter.path:
                super().do_GET()
                return
            with open(self.translate_path(self.path), "rb") as source:
                size = os.fstat(source.fileno()).st_size
                asked = re.fullmatch(r"bytes=(\d+)-", self.headers.get("Range", ""))
                start = int(asked[1]) if asked else 0
                self.send_response(206 if asked else 200)
                if asked:
                    self.send_header("Content-Range", f"bytes {start}-{size - 1}/{size}")
                self.send_header("Content-Length", str(size - start))
                self.send_header("ETag", '"1"')
                self.end_headers()
                self.close_connection = not cutter.send(source, start, size, self.wfile)

    return CuttingHandler


def measure_cuts(file_set, ours, work, programs):
    """The bytes received for the one file of the set, to its size."""
    library = file_set.publish(work / "cut", programs)
    cutter = Cutter(library.folder, library.names[0])
    with own_server(cutting_handler(cutter)) as address:
        ours.fetch(library, address, work / "copy", network=None)
    assert not cutter.cuts, "not every cut was made"
    library.remove()
    return cutter.sent / library.size
