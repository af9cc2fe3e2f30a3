"""Starts nginx, on loopback or behind a delayed network, with a test authority for HTTPS, and
servers whose answers a measurement decides."""

import contextlib
import dataclasses
import http.server
import os
import socket
import subprocess
import sys
import threading
import time

SERVER_NAMESPACE = f"mtllib-server-{os.getpid()}"
CLIENT_NAMESPACE = f"mtllib-client-{os.getpid()}"
# As delay_line gives them.
DELAYED_SERVER_ADDRESS = "10.200.0.1"
DELAYED_CLIENT_ADDRESS = "10.200.0.2"

CONFIGURATION = """
user root;
daemon off;
worker_processes 2;
pid {work}/nginx.pid;
error_log {work}/error.log;
events {{ worker_connections 1024; }}
http {{
  client_body_temp_path {work}/nginx; proxy_temp_path {work}/nginx;
  fastcgi_temp_path {work}/nginx; uwsgi_temp_path {work}/nginx; scgi_temp_path {work}/nginx;
  log_format counted '$bytes_sent $request_uri';
  access_log {log};
  sendfile on; tcp_nopush on; keepalive_requests 1000000000;
  server {{
    listen {host}:{http};
    listen {host}:{https} ssl;
    ssl_certificate {work}/server.pem; ssl_certificate_key {work}/server.key;
    location /lib/ {{ alias {library}/; }}
  }}
}}
"""


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, stderr=subprocess.DEVNULL)


class Authority:
    """A new authority, and a certificate of it for the servers."""

    def __init__(self, work):
        self.certificate = work / "ca.pem"
        names = work / "names"
        names.write_text(f"subjectAltName=IP:127.0.0.1,IP:{DELAYED_SERVER_ADDRESS}\n")
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Test authority",
                "-keyout", work / "ca.key", "-out", self.certificate)
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost",
                "-keyout", work / "server.key", "-out", work / "request")
        openssl("x509", "-req", "-in", work / "request", "-CA", self.certificate,
                "-CAkey", work / "ca.key", "-CAcreateserial", "-extfile", names,
                "-out", work / "server.pem")


@dataclasses.dataclass
class Server:
    host: str
    http: int
    https: int

    def address(self, scheme):
        return f"{scheme}://{self.host}:{getattr(self, scheme)}/lib"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


@contextlib.contextmanager
def nginx(library, authority, work, network=None, log=None):
    """A server of the files in `library`, with two workers and without a log; or with one that
    has the bytes and the address of each answer."""
    host = network.server if network else "127.0.0.1"
    server = Server(host, free_port(), free_port())
    configuration = work / "nginx.conf"
    configuration.write_text(CONFIGURATION.format(
        work=authority.certificate.parent, library=library, host=host, http=server.http,
        https=server.https, log=f"{log} counted" if log else "off"))
    command = ["/usr/sbin/nginx", "-p", str(work), "-c", str(configuration)]
    if network:
        command = ["ip", "netns", "exec", SERVER_NAMESPACE, *command]
    with subprocess.Popen(command, stderr=subprocess.DEVNULL) as process:
        try:
            wait_for(server, network)
            yield server
        finally:
            process.terminate()


class Handler(http.server.SimpleHTTPRequestHandler):
    """What the servers of own_server() derive their handlers from."""

    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass


@contextlib.contextmanager
def own_server(handler):
    """A server of the handler; its address of the library."""
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
        thread = threading.Thread(target=server.serve_forever, args=(0.01,))
        thread.start()
        yield f"http://127.0.0.1:{server.server_port}/lib"
        server.shutdown()
        thread.join()


def wait_for(server, network):
    command = ["curl", "--silent", "--fail", "--output", "/dev/null",
               server.address("http") + "/id.txt"]
    for _ in range(50):
        if subprocess.run(network.inside(command) if network else command,
                          env={"PATH": os.environ["PATH"]}, check=False).returncode == 0:
            return
        time.sleep(0.1)
    sys.exit("nginx does not start")


class DelayedNetwork:
    """Two network namespaces with a delay on the way between them."""

    server = DELAYED_SERVER_ADDRESS

    @staticmethod
    def inside(command):
        """`command`, run where the server is far away."""
        return ["ip", "netns", "exec", CLIENT_NAMESPACE, *command]


def make_comparable(namespace, address):
    """Lets TCP behave in the same way in each run, on every machine."""
    # Some machines pace their packets by default, which adds to the delay.
    subprocess.run(["ip", "-n", namespace, "route", "replace", "10.200.0.0/30", "dev", "delay0",
                    "proto", "kernel", "scope", "link", "src", address, "congctl", "cubic"],
                   check=True)
    # What one run learned of the way is not for the next one.
    subprocess.run(["ip", "netns", "exec", namespace, "sysctl", "-q", "-w",
                    "net.ipv4.tcp_no_metrics_save=1"], check=True)


@contextlib.contextmanager
def delayed_network(programs, round_trip):
    """A network in which an answer takes `round_trip` seconds at least."""
    namespaces = (SERVER_NAMESPACE, CLIENT_NAMESPACE)
    try:
        for namespace in namespaces:
            subprocess.run(["ip", "netns", "add", namespace], check=True)
        line = [str(programs / "delay_line"), *namespaces, str(round_trip * 1000 / 2)]
        with subprocess.Popen(line, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              text=True) as process:
            if process.stdout.readline() != "ready\n":
                sys.exit("The delayed network cannot be made")
            make_comparable(SERVER_NAMESPACE, DELAYED_SERVER_ADDRESS)
            make_comparable(CLIENT_NAMESPACE, DELAYED_CLIENT_ADDRESS)
            try:
                yield DelayedNetwork()
            finally:
                process.stdin.close()
    finally:
        for namespace in namespaces:
            subprocess.run(["ip", "netns", "del", namespace], check=False)
