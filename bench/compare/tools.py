"""The tools compared: how each is made to fetch all files of a library, five at a time."""

import shutil
import subprocess
import sys

from measure import run, warm_memory
from results import MODULE, OURS


class Tool:
    """Fetches a library with `command`; what it wrote is compared and removed."""

    name = ""

    def __init__(self, authority):
        self.authority = authority
        self.environment = {}

    def command(self, library, address, copy):
        raise NotImplementedError

    def fetch(self, library, address, copy, network):
        usage = self.update(library, address, copy, network)
        shutil.rmtree(copy)
        return usage

    def update(self, library, address, copy, network=None):
        """The same, for a copy that is there already and stays."""
        command = self.command(library, address, copy)
        if network:
            command = network.inside(command)
        # For the copy, and for the bodies on their way.
        warm_memory(2 * library.size)
        usage = run(command, self.environment)
        different = subprocess.run(
            ["diff", "-r", "-q", "-x", "id.txt", "-x", "filelist.json", "-x", "filelist.json.gz",
             "-x", "changes", "-x", ".mtllib", "-x", ".mtlpublish-*", library.folder, copy],
            stdout=subprocess.PIPE, text=True, check=False)
        if different.returncode != 0:
            sys.exit(f"{self.name} wrote other files than those published:\n"
                     + different.stdout[:2000])
        return usage

    @staticmethod
    def write_lines(copy, lines):
        """A file for the tool to read, beside the copy."""
        file = copy.parent / "files"
        file.write_text("".join(line + "\n" for line in lines))
        return file


class Mtlsync(Tool):
    name = OURS
    options = []

    def __init__(self, programs, authority):
        super().__init__(authority)
        self.program = programs / "mtlsync"
        self.environment = {"CURL_CA_BUNDLE": str(authority.certificate)}

    def command(self, library, address, copy):
        return [self.program, "-q", "--no-proxy", *self.options, address, copy]


class Module(Mtlsync):
    """As mtlsync, by the plug-in."""

    name = MODULE

    def __init__(self, programs, authority):
        super().__init__(programs, authority)
        self.options = ["--module", programs / "libmtllib.so"]


class Curl(Tool):
    name = "curl"

    def command(self, library, address, copy):
        config = self.write_lines(copy, (f'url = "{address}/{name}"\noutput = "{copy}/{name}"'
                                         for name in library.names))
        return ["curl", "--disable", "--silent", "--show-error", "--fail", "--create-dirs",
                "--parallel", "--parallel-max", "5", "--cacert", self.authority.certificate,
                "--config", config]


class Aria2(Tool):
    name = "aria2c"

    def command(self, library, address, copy):
        urls = self.write_lines(copy, (f"{address}/{name}\n  out={name}"
                                       for name in library.names))
        return ["aria2c", "--no-conf", "--quiet", "-j5", "-x1", "-s1", "--file-allocation=none",
                f"--ca-certificate={self.authority.certificate}", f"--dir={copy}",
                f"--input-file={urls}"]


class Wget2(Tool):
    name = "wget2"
    options = []

    def command(self, library, address, copy):
        urls = self.write_lines(copy, (f"{address}/{name}" for name in library.names))
        return ["wget2", "--no-config", "--quiet", "--max-threads=5", *self.options,
                "--force-directories",
                "--no-host-directories", "--cut-dirs=1", f"--directory-prefix={copy}",
                f"--ca-certificate={self.authority.certificate}", f"--input-file={urls}"]


class Rclone(Tool):
    name = "rclone"

    def command(self, library, address, copy):
        names = self.write_lines(copy, library.names)
        return ["rclone", "copy", "--config", "/dev/null", "--transfers", "5", "--checkers", "5",
                "--no-traverse", "--files-from-raw", names, "--http-url", address,
                "--ca-cert", self.authority.certificate, ":http:", copy]


class NewerOnly(Wget2):
    """Asks for the time of each file."""

    name = "wget2 -N"
    options = ["--timestamping"]


def ours(programs, authority):
    return [Mtlsync(programs, authority), Module(programs, authority)]


def peers(authority):
    return [Curl(authority), Aria2(authority), Wget2(authority), Rclone(authority)]


def updating_peers(authority):
    """Those that fetch what has changed."""
    return [NewerOnly(authority), Rclone(authority)]
