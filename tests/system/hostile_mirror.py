"""A mirror that attacks the clients of a signed library, on a port that the system picks and that
it prints.

usage: hostile_mirror.py FOLDER ATTACK_FILE
FOLDER has a folder for each release that the mirror has obtained. ATTACK_FILE, which is read again
for each request, has the name of an attack, as in ATTACKS below, or "byte NUMBER", which changes
that byte of the stamp.
"""

import gzip
import http.server
import os
import re
import sys
import urllib.parse


def changed_byte(content, number):
    return content[:number] + bytes([content[number] ^ 1]) + content[number + 1 :]


def with_added_file(content):
    return content.replace(b"\n]", b',\n  {"path": "evil.mtl", "size": 1}\n]')


def with_removed_file(content):
    return re.sub(rb"\{[^}]*\},\s*", b"", content, count=1)


def with_evil_file(content):
    """As long as the signed one."""
    return content.replace(b"oak.mtl", b"evl.mtl")


def of_another_time(content):
    return re.sub(rb"serial: \d", b"serial: 9", content)


def form_of_evil_list(content):
    return gzip.compress(with_evil_file(gzip.decompress(content)))


def changed_text(change):
    """Of a form that is packed."""
    return lambda content: gzip.compress(change(gzip.decompress(content)))


def with_digest_changed(word):
    """Of the list that a difference is from, or leads to."""
    return changed_text(
        lambda text: re.sub(
            rb"(?m)^(" + word + rb" \d+ )(.)", lambda it: it[1] + (b"1" if it[2] == b"0" else b"0"), text
        )
    )


def difference_of_steps(steps):
    """With the head that it had."""
    return changed_text(lambda text: b"".join(text.splitlines(keepends=True)[:4]) + steps)


def with_path_outside(text):
    """As long as it was."""
    assert b'"oak.mtl"' in text
    return text.replace(b'"oak.mtl"', b'"../a.tx"')


# Which release the stamp, the list and the files are of, and what is done to each. Other forms of the
# list are handed out only where something is done to them.
ATTACKS = {
    "none": ("new", "new", "new", {}),
    "arbitrary file": ("new", "new", "new", {"file": lambda content: b"X" * len(content)}),
    "longer file": ("new", "new", "new", {"file": lambda content: content + b"X"}),
    "arbitrary list": ("new", "new", "new", {"list": with_evil_file}),
    "page for a list": ("new", "new", "new", {"list": lambda _: b"<html>Log in.</html>\n"}),
    "added file": ("new", "new", "new", {"list": with_added_file}),
    "removed file": ("new", "new", "new", {"list": with_removed_file}),
    "old stamp with old list": ("old", "old", "old", {}),
    "old stamp with new list": ("old", "new", "new", {}),
    "new stamp with old list": ("new", "old", "old", {}),
    "new stamp with old files": ("new", "new", "old", {}),
    "endless stamp": ("new", "new", "new", {"stamp": None}),
    "endless list": ("new", "new", "new", {"list": None}),
    "expired": ("expired", "expired", "expired", {}),
    "same serial": ("twin", "twin", "twin", {}),
    "other library": ("elm", "elm", "elm", {}),
    "other sub-path": ("beta", "beta", "beta", {}),
    "other key": ("thief", "thief", "thief", {}),
    "not signed": ("new", "new", "new", {"stamp": lambda _: b"7a1bc3d2"}),
    "cut signature": ("new", "new", "new", {"stamp": lambda content: content[:-20]}),
    "changed comment": ("new", "new", "new", {"stamp": of_another_time}),
    "arbitrary form": ("new", "new", "new", {"form": lambda content: b"X" * len(content)}),
    "cut form": ("new", "new", "new", {"form": lambda content: content[:-9]}),
    "form of an evil list": ("new", "new", "new", {"form": form_of_evil_list}),
    "form that grows": ("new", "new", "new", {"form": lambda _: gzip.compress(b" " * 50000000)}),
    "endless form": ("new", "new", "new", {"form": None}),
    "arbitrary difference": ("new", "new", "new", {"difference": lambda content: b"X" * len(content)}),
    "cut difference": ("new", "new", "new", {"difference": lambda content: content[:-9]}),
    "difference and more": ("new", "new", "new", {"difference": lambda content: content + content}),
    "difference of another list": ("new", "new", "new", {"difference": with_digest_changed(b"from")}),
    "difference to another list": ("new", "new", "new", {"difference": with_digest_changed(b"to")}),
    "difference to an evil list": ("new", "new", "new", {"difference": changed_text(with_evil_file)}),
    "difference that leads outside": ("new", "new", "new", {"difference": changed_text(with_path_outside)}),
    "difference that copies too much": (
        "new",
        "new",
        "new",
        {"difference": difference_of_steps(b"=9223372036854775807\n")},
    ),
    "difference of small steps": ("new", "new", "new", {"difference": difference_of_steps(b"-1\n" * 10000000)}),
    "difference that inserts too much": (
        "new",
        "new",
        "new",
        {"difference": difference_of_steps(b"+18446744073709551615\n" + b" " * 50000000)},
    ),
    "difference that grows": ("new", "new", "new", {"difference": lambda _: gzip.compress(b" " * 50000000)}),
    "huge difference": ("new", "new", "new", {"difference": lambda _: os.urandom(20000000)}),
    "endless difference": ("new", "new", "new", {"difference": None}),
}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True

    def do_GET(self):
        with open(self.server.attack_file, encoding="utf-8") as file:
            attack = file.read().strip()
        if attack.startswith("byte "):
            number = int(attack[5:])
            attack = ("new", "new", "new", {"stamp": lambda it: changed_byte(it, number)})
        else:
            attack = ATTACKS[attack]
        path = urllib.parse.unquote(self.path).lstrip("/")
        kind = {"id.txt": "stamp", "filelist.json": "list", "filelist.json.gz": "form"}.get(path, "file")
        if path.startswith("changes/"):
            kind = "difference"
        if kind in ("form", "difference") and kind not in attack[3]:
            self.answer(404, b"")
            return
        release = attack[{"stamp": 0, "list": 1, "form": 1, "difference": 1, "file": 2}[kind]]
        try:
            with open(os.path.join(self.server.releases, release, path), "rb") as file:
                content = file.read()
        except OSError:
            self.answer(404, b"")
            return
        change = attack[3].get(kind, lambda content: content)
        with open(self.server.attack_file + ".log", "a", encoding="utf-8") as file:
            file.write(kind + "\n")
        if change is None:
            self.answer_without_end(content)
        else:
            self.answer(200, change(content))

    def answer(self, status, body):
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def answer_without_end(self, beginning):
        self.close_connection = True
        self.send_response(200)
        self.end_headers()
        self.wfile.write(beginning)
        while True:
            self.wfile.write(b" " * 65536)

    def handle(self):
        try:
            super().handle()
        except ConnectionError:
            pass

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True


server = Server(("127.0.0.1", 0), Handler)
server.releases, server.attack_file = sys.argv[1:3]
print(server.server_port, flush=True)
server.serve_forever()
