"""The program's options, messages and exit statuses, which are those of mtlsync."""

from __future__ import annotations

import argparse
import signal
import sys
from typing import Callable, Dict, Iterable, Iterator, List, Optional

from mtllib._display import ProgressDisplay
from mtllib._errors import ChainError, Error, Failure, SyncError
from mtllib._events import Event
from mtllib._library import Library
from mtllib._loading import version
from mtllib._parsing import parse_duration, parse_size
from mtllib._printable import printable
from mtllib._results import ChangeKind, Difference, DifferenceKind, FileChange, Plan, Result
from mtllib._settings import SYSTEM_PROXY, Module, NetworkOptions, Proxy, UpdateOptions

_DONE = 0
_FAILED = 1
_WRONG_USAGE = 2
_DIFFERENT = 7
_UPDATE_AVAILABLE = 100
_INTERRUPTED = 130
_STATUSES = {
    Failure.USAGE: _WRONG_USAGE,
    Failure.NETWORK: 3,
    Failure.DISK: 4,
    Failure.CONTENT: 5,
    Failure.UNTRUSTED: 5,
    Failure.ANOTHER_RUN: 6,
}

_EPILOG = """SIZE is in bytes, or with k, M or G; 0 means no limit. TIME is 90s, 5m or 2h.
Exit status: 0 done or up to date, 1 failed otherwise, 2 wrong usage, 3 the network or
the server failed, 4 the disk or folder, 5 something is not what was published or signed, 6
another run is at work on the copy, 7 the copy differs from its list (with --verify), 100 an
update is available (with --check), 130 interrupted."""

# As they are parsed: the module knows nothing of them.
_ENGINE_OPTIONS = (
    *("key", "mirror", "prune", "limit_rate", "retries", "ca_file", "proxy_user", "field", "query"),
    *("user_agent", "connect_timeout", "stall_timeout", "max_time"),
)

_CHANGE_WORDS: Dict[ChangeKind, str] = {
    "fetched": "fetch",
    "copied": "copy",
    "withdrawn": "leave",
    "removed": "remove",
    "skipped": "skip",
}
_DIFFERENCE_TEXTS: Dict[DifferenceKind, str] = {
    "damaged": "has another content than in the library",
    "wrong size": "has another size than in the library",
    "unreadable": "cannot be read",
    "missing": "is missing",
    "extra": "is not of the library",
    "changed": "was changed, as the library allows",
}


class _ShowVersion(argparse.Action):
    """Loads the library, whose version it is, only when asked for."""

    def __call__(self, parser: argparse.ArgumentParser, *_: object) -> None:
        print(f"mtllib {version()}")
        parser.exit()


def _not_empty(text: str) -> str:
    if not text:
        raise argparse.ArgumentTypeError("must not be empty")
    return text


def _number(parse: Callable[[str], int]) -> Callable[[str], int]:
    """A type of arguments whose errors are those of the function."""

    def parsed(text: str) -> int:
        try:
            return parse(text)
        except ValueError as error:
            raise argparse.ArgumentTypeError(str(error)) from error

    return parsed


def _count(text: str) -> int:
    if not text.isdecimal():
        raise ValueError(f"not a number: {text}")
    return int(text)


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python -m mtllib",
        description="Brings the local copy in DIR of the material library at URL up to date.",
        epilog=_EPILOG,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument(
        "url",
        metavar="URL",
        type=_not_empty,
        nargs="?",
        help="address of the library; --verify does without",
    )
    parser.add_argument(
        "directory", metavar="DIR", type=_not_empty, help="folder of the copy; made if missing"
    )
    operation = parser.add_mutually_exclusive_group()
    for name, text in (
        ("check", "only report whether an update exists"),
        ("dry-run", "only report what an update would do"),
        ("verify", "only report how the copy differs from the list that the last run followed"),
        ("repair", "read every file of the copy, and fetch what is missing or wrong"),
    ):
        operation.add_argument(
            f"--{name}", dest="operation", action="store_const", const=name, help=text
        )
    parser.add_argument(
        "--sub-path", default="", metavar="PATH", help="sub-path of the library"
    )
    parser.add_argument(
        "--mirror",
        action="append",
        default=[],
        type=_not_empty,
        metavar="URL",
        help="other address of the library; several may be given",
    )
    parser.add_argument(
        "--prune", action="store_true", help="remove files that the library has withdrawn"
    )
    parser.add_argument(
        "--limit-rate",
        type=_number(parse_size),
        metavar="SIZE",
        help="receive at most SIZE per second",
    )
    parser.add_argument(
        "--retries",
        type=_number(_count),
        metavar="N",
        help="retry a failed request N times; 4 if not given",
    )
    parser.add_argument(
        "--wait", action="store_true", help="wait for another run instead of failing"
    )
    parser.add_argument(
        "--key",
        action="append",
        default=[],
        type=_not_empty,
        metavar="KEY|FILE",
        help="take only what this public key has signed; several may be given",
    )
    parser.add_argument(
        "--name",
        type=_not_empty,
        metavar="NAME",
        help="name that the library must be signed with",
    )
    parser.add_argument(
        "--allow-expired", action="store_true", help="take what has expired, with a warning"
    )
    parser.add_argument(
        "--forget-keys", action="store_true", help="forget which keys and releases DIR has had"
    )
    parser.add_argument(
        "--module", type=_not_empty, metavar="FILE", help="plug-in that does the work instead"
    )
    proxy = parser.add_mutually_exclusive_group()
    proxy.add_argument(
        "--proxy",
        default=SYSTEM_PROXY,
        type=_not_empty,
        metavar="ADDRESS",
        help="HTTP proxy HOST:PORT; the system's if not given",
    )
    proxy.add_argument(
        "--no-proxy", dest="proxy", action="store_const", const=None, help="use no proxy"
    )
    _add_network(parser)
    parser.add_argument("-q", "--quiet", action="store_true", help="print errors only")
    parser.add_argument("--version", action=_ShowVersion, nargs=0, help="print the version")
    return parser


def _add_network(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "--ca-file",
        type=_not_empty,
        metavar="FILE",
        help="trust the authorities in it (PEM), no others",
    )
    for name, text in (
        ("proxy-user", "USER:PASSWORD for the proxy"),
        ("query", 'put it behind the "?" of each URL'),
    ):
        parser.add_argument(f"--{name}", type=_lines, metavar="TEXT|@FILE", help=text)
    parser.add_argument(
        "--field",
        action="append",
        default=[],
        type=_lines,
        metavar="TEXT|@FILE",
        help='send "NAME: VALUE" too, over https alone; several may be given',
    )
    parser.add_argument(
        "--user-agent",
        type=_not_empty,
        metavar="NAME",
        help="name sent to servers; mtllib/VERSION if not given",
    )
    for name, text in (
        ("connect-timeout", "longest time to connect; 30s if not given"),
        ("stall-timeout", "longest time without any data; 60s if not given"),
        ("max-time", "give up if the whole run takes longer"),
    ):
        parser.add_argument(f"--{name}", type=_number(parse_duration), metavar="TIME", help=text)


def _lines(text: str) -> List[str]:
    """Those of a file for "@FILE": what others must not see does not stand on command lines."""
    lines = [text]
    if text.startswith("@"):
        try:
            with open(text[1:], encoding="utf-8") as file:
                lines = [line for line in file.read().splitlines() if line]
        except (OSError, ValueError) as error:
            raise argparse.ArgumentTypeError(str(error)) from error
    if not lines or not lines[0]:
        raise argparse.ArgumentTypeError("must not be empty")
    return lines


def _network_of(options: argparse.Namespace) -> NetworkOptions:
    user, _, password = (options.proxy_user or [""])[0].partition(":")
    if options.proxy_user and not user:
        raise ValueError("--proxy-user: no user name")
    fields = (line.partition(":") for lines in options.field for line in lines)
    return NetworkOptions(
        ca_file=options.ca_file or "",
        proxy_user=user,
        proxy_password=password,
        fields={name: value.strip() for name, _, value in fields},
        query=(options.query or [""])[0],
        user_agent=options.user_agent or "",
        connect_seconds=options.connect_timeout or None,
        stall_seconds=options.stall_timeout or None,
    )


def _update_of(options: argparse.Namespace) -> UpdateOptions:
    return UpdateOptions(
        prune=options.prune,
        wait=options.wait,
        tries=None if options.retries is None else options.retries + 1,
        bytes_per_second=options.limit_rate or None,
        max_seconds=options.max_time or None,
    )


def _options(arguments: Optional[List[str]]) -> argparse.Namespace:
    parser = _parser()
    options = parser.parse_args(arguments)
    if options.url is None and options.operation != "verify":
        parser.error("the following arguments are required: URL")
    if options.module and options.operation not in (None, "check"):
        parser.error(f"--module and --{options.operation} exclude each other")
    for name in _ENGINE_OPTIONS:
        if options.module and getattr(options, name) != parser.get_default(name):
            parser.error(f"--module and --{name.replace('_', '-')} exclude each other")
    if options.name and not options.key:
        parser.error("--name needs --key")
    if options.allow_expired and not options.key:
        parser.error("--allow-expired needs --key")
    return options


class _Program:
    """One run of the program."""

    def __init__(self, options: argparse.Namespace) -> None:
        self._url: str = options.url or ""
        self._directory: str = options.directory
        self._sub_path: str = options.sub_path
        self._proxy: Proxy = options.proxy
        self._module: Module = options.module
        self._keys: List[str] = options.key
        self._name: str = options.name or ""
        self._mirrors: List[str] = options.mirror
        self._network = _network_of(options)
        self._allow_expired: bool = options.allow_expired
        self._forget_keys: bool = options.forget_keys
        self._options = _update_of(options)
        self._operation: Optional[str] = options.operation
        self._quiet: bool = options.quiet
        self._display = ProgressDisplay(sys.stderr)

    def run(self) -> int:
        with Library(
            self._url,
            self._directory,
            sub_path=self._sub_path,
            proxy=self._proxy,
            module=self._module,
            options=self._options,
            keys=self._keys,
            name=self._name,
            allow_expired=self._allow_expired,
            forget_keys=self._forget_keys,
            mirrors=self._mirrors,
            network=self._network,
        ) as library:
            try:
                return self._use(library)
            finally:
                self._display.hide()

    def _use(self, library: Library) -> int:
        if self._operation == "check":
            is_update = library.check(self._show_warning)
            self._tell("An update is available." if is_update else "Up to date.")
            return _UPDATE_AVAILABLE if is_update else _DONE
        progress = None if self._quiet else self._display.show
        if self._operation == "dry-run":
            self._print(_plan_lines(library.plan(progress, self._show_warning)))
            return _DONE
        if self._operation == "verify":
            verification = library.verify(progress, self._show_warning)
            self._print(map(_difference_line, verification.differences))
            if verification.differences:
                return _DIFFERENT
            self._tell(f"As listed: {_counted(verification.compared.files)}.")
            return _DONE
        run = library.repair if self._operation == "repair" else library.sync
        result = run(progress, self._show_warning)
        self._display.hide()
        self._tell(_closing_line(result))
        return _DONE

    def _show_warning(self, event: Event) -> None:
        if event.kind == "warning" and not self._quiet:
            self._display.print_line(f"mtllib: warning: {event.text}")

    def _print(self, lines: Iterable[str]) -> None:
        """What was asked for, which is printed in any case."""
        self._display.hide()
        for line in lines:
            print(printable(line), flush=True)

    def _tell(self, line: str) -> None:
        if not self._quiet:
            print(line, flush=True)


def _closing_line(result: Result) -> str:
    if not result.updated:
        return "Up to date."
    files = len(result.changed_paths) + len(result.removed_paths) or result.files
    return f"Updated: {_counted(files)}."


def _counted(files: int) -> str:
    return f"{files} {'file' if files == 1 else 'files'}"


def _plan_lines(plan: Plan) -> Iterator[str]:
    yield from map(_change_line, plan.files)
    for text, amount in (
        ("To fetch", plan.fetched),
        ("To copy", plan.copied),
        ("To replace", plan.replaced),
        ("To remove", plan.removed),
        ("No longer of the library", plan.withdrawn),
        ("Unchanged", plan.unchanged),
    ):
        if amount.files > 0:
            yield f"{text}: {_counted(amount.files)}, {amount.bytes} bytes."


def _change_line(change: FileChange) -> str:
    line = f"{_CHANGE_WORDS[change.kind]:6}  {change.path}"
    if change.kind == "withdrawn":
        line += ": the library no longer has it"
    if change.source:
        line += f", from {change.source}"
    if change.reason:
        line += f": {change.reason}"
    return line if change.size is None else f"{line} ({change.size} bytes)"


def _difference_line(difference: Difference) -> str:
    line = f"{difference.path}: {_DIFFERENCE_TEXTS[difference.kind]}"
    return f"{line}: {difference.reason}" if difference.reason else line


def _print_error(error: Exception) -> None:
    print("mtllib: error: " + printable(str(error)), file=sys.stderr)
    if isinstance(error, ChainError) and error.hint:
        print(error.hint, file=sys.stderr)


def _interrupt(_signal: int, _frame: object) -> None:
    raise KeyboardInterrupt


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs the program and returns its exit status; wrong usage raises SystemExit."""
    # As Python does with SIGINT: who started the program may have had it ignored.
    if signal.getsignal(signal.SIGTERM) != signal.SIG_IGN:
        signal.signal(signal.SIGTERM, _interrupt)
    try:
        return _Program(_options(arguments)).run()
    except KeyboardInterrupt:
        print("mtllib: interrupted", file=sys.stderr)
        return _INTERRUPTED
    except (Error, OSError, ValueError) as error:
        _print_error(error)
        if isinstance(error, ValueError):
            return _WRONG_USAGE
        return _STATUSES.get(error.failure, _FAILED) if isinstance(error, SyncError) else _FAILED
