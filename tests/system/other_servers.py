"""Serves a folder with Python's http.server on a port that the system picks and that it prints.

usage: other_servers.py FOLDER (threads | one) [CERTIFICATE KEY]
"one" answers one connection at a time, as the simplest servers do, and closes it after each
answer.
"""

import functools
import http.server
import ssl
import sys


def main():
    folder, kind, *identity = sys.argv[1:]
    handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory=folder)
    servers = {"threads": http.server.ThreadingHTTPServer, "one": http.server.HTTPServer}
    server = servers[kind](("127.0.0.1", 0), handler)
    if identity:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*identity)
        server.socket = context.wrap_socket(server.socket, server_side=True,
                                            do_handshake_on_connect=kind == "one")
    print(server.server_port, flush=True)
    server.serve_forever()


main()
