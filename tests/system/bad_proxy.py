"""A faulty proxy, such as bad networks have, on a port that the system picks and that it prints.

usage: bad_proxy.py MODE_FILE LOG_FILE SEED
The file says how requests are treated, and is read again for each one:
  pass        forwards it to the server, and the answer to the client
  portal      answers with status 200 and a page, as networks in hotels do until one has paid
  login       answers with status 302 and the address of a page
  cut RATE    as pass, but cuts this part of the bodies, 0 to 1, anywhere
  close       closes the connection
  gone        answers with status 502
The log gets a line with status, number of body bytes sent and address for each answer.
"""

import http.client
import http.server
import random
import sys
import threading
import urllib.parse

PAGE = b"<!DOCTYPE html>\n<html><body>Please accept our terms.</body></html>\n"
KEPT_FIELDS = ("ETag", "Last-Modified", "Content-Range", "Accept-Ranges")

lock = threading.Lock()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True

    def do_GET(self):
        with open(self.server.mode_file, encoding="utf-8") as file:
            mode, *rate = file.read().split()
        if mode == "portal":
            self.answer(200, {"Content-Type": "text/html"}, PAGE)
        elif mode == "login":
            self.answer(302, {"Location": "http://portal.invalid/login"}, b"")
        elif mode == "gone":
            self.answer(502, {}, b"")
        elif mode == "close":
            self.close_connection = True
        else:
            self.hand_over(float(rate[0]) if rate else 0)

    def hand_over(self, rate):
        address = urllib.parse.urlsplit(self.path)
        server = http.client.HTTPConnection(address.netloc)
        fields = {"Range": self.headers["Range"]} if self.headers["Range"] else {}
        server.request("GET", address.path, headers=fields)
        answer = server.getresponse()
        body = answer.read()
        server.close()
        kept = {name: answer.headers[name] for name in KEPT_FIELDS if answer.headers[name]}
        with lock:
            is_cut = self.server.random.random() < rate
            size = self.server.random.randrange(len(body)) if is_cut and body else len(body)
        self.answer(answer.status, kept, body, size)

    def answer(self, status, fields, body, size=None):
        size = len(body) if size is None else size
        with lock, open(self.server.log_file, "a", encoding="utf-8") as log:
            log.write(f"{status} {size} {self.path}\n")
        self.send_response(status)
        for name, value in fields.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body[:size])
        self.close_connection = self.close_connection or size < len(body)

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    def handle_error(self, *_):
        """Clients may go away."""


def main():
    mode_file, log_file, seed = sys.argv[1:]
    server = Server(("127.0.0.1", 0), Handler)
    server.mode_file, server.log_file = mode_file, log_file
    server.random = random.Random(int(seed))
    print(server.server_port, flush=True)
    server.serve_forever()


main()
