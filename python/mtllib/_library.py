"""`Library`, the way into the package."""

from __future__ import annotations

import asyncio
import dataclasses
import os
import queue
import threading
from types import TracebackType
from typing import Callable, Iterable, Optional, Type, Union

from mtllib import _c_interface as c
from mtllib._errors import Error
from mtllib._events import Event, Progress
from mtllib._handle import Handle
from mtllib._logging import log
from mtllib._results import Plan, Result, Verification
from mtllib._run import Operation, Run
from mtllib._settings import (
    SYSTEM_PROXY,
    Module,
    NetworkOptions,
    Path,
    Proxy,
    Settings,
    Trust,
    UpdateOptions,
)

ProgressHandler = Callable[[Progress], object]
EventHandler = Callable[[Event], object]

# An interrupt from the keyboard that comes in the moment before a wait begins does not end
# it; on Windows, none does.
_LONGEST_WAIT_SECONDS = 0.05


class Library:
    """A remote material library and its local copy.

    There are two ways to keep a copy. The engine, unless the module is asked for: it fetches
    what has changed, checks the digests that the library's list has, and replaces files whole,
    once all of them are there. The module fetches all that the list selects as soon as the
    stamp has changed; it can `check` and `sync`, and no more. Both may serve the same copy by
    turns.

    Any thread may use it. One operation, a run, is under way at a time; a second one is refused
    with `Error`. Several libraries may run at once, each on a thread of its own. Of several with
    the same directory, of whatever processes, one can sync or repair it at a time: another one
    fails, or waits with `UpdateOptions.wait`.

    A run that ends early, however it ends, leaves the copy marked as old: the engine's next one
    goes on from there, the module's starts over. An interrupt from the keyboard during a run
    ends it within 200 ms, then `KeyboardInterrupt` is raised.

    Runs raise `SyncError` when they fail, which has subclasses for what a failure is about,
    `Cancelled`, or what a handler raises.

    Handlers are called on the thread that called for the run, or in the task that awaits it,
    while the transfers go on, and may call `cancel` and `close`. When they
    cannot keep up, progress skips steps, and once 1000 events wait, the oldest stages,
    information and files are left out, but no warnings and errors. An exception of a handler
    cancels the run, and is then raised from it. The transfers do need the interpreter's lock
    for every event: they stand still while it is held for long.

    Messages go to the logger "mtllib" too: stages as DEBUG, information as INFO,
    warnings as WARNING, and the failure that ends a run as ERROR, or as INFO if the run
    was cancelled.
    """

    def __init__(
        self,
        url: str,
        directory: Path,
        *,
        sub_path: str = "",
        proxy: Proxy = SYSTEM_PROXY,
        module: Module = None,
        options: UpdateOptions = UpdateOptions(),
        keys: Union[Path, Iterable[Path]] = (),
        name: str = "",
        allow_expired: bool = False,
        forget_keys: bool = False,
        mirrors: Iterable[str] = (),
        network: NetworkOptions = NetworkOptions(),
    ) -> None:
        """Transfers and writes nothing yet. Raises `LoadError`, and `ValueError`, mostly as
        `SettingsError`, for arguments that cannot be used.

        url: the address of the remote library.
        directory: the folder of the local copy, made if missing.
        sub_path: a sub-path of the remote library, of letters, digits and "-._~/".
        proxy: the system's, None for none, or the address of an HTTP proxy. One that cannot be used
            is a failure: nothing is sent without it.
        module: the plug-in that does the work in the engine's place, or True for the one that
            comes with the package.
        options: how the copy is brought up to date.
        keys: the public key of the library's publisher, or several, any of which may have signed:
            the 56 characters of one ("RWQ..."), the text of its file, or the name of its file. With
            keys, nothing takes effect that the holder of one of them did not sign, and no release
            that is older than what the copy has had: runs raise `UntrustedError`. A copy that was
            once updated with keys is not updated without. Of the engine only.
        name: that of the library, as it was signed; the first one that the copy has had with keys
            unless given.
        allow_expired: take a release that has expired, with a warning.
        forget_keys: forget what the copy has had with keys: it may be updated without, with other
            keys, to a library of another name, or to an older release.
        mirrors: other addresses of the same library. One that does not answer, lags, or has not
            what was published is passed over for another one. With keys, their order is drawn for
            each run, and the library's list may add some; without, the first one that answers says
            what the library has. Of the engine only.
        network: how requests are sent: authorities that are trusted, the proxy's user, request
            fields, time limits. Of the engine only.
        """
        if isinstance(mirrors, str):
            raise TypeError("mirrors are several addresses, not one")
        pinned = (keys,) if isinstance(keys, (str, os.PathLike)) else tuple(keys)
        trust = Trust(pinned, name, allow_expired, forget_keys)
        rest = (tuple(mirrors), network)
        self._handle = Handle(
            Settings(url, directory, sub_path, proxy, module, options, trust, *rest)
        )
        self._lock = threading.RLock()
        self._run: Optional[Run] = None
        self._is_closed = False

    def __enter__(self) -> "Library":
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        self.close()

    def check(self, on_event: Optional[EventHandler] = None) -> bool:
        """Whether an update is available. Writes nothing."""
        return _is_update(self._run_here(Handle.check, None, on_event))

    def plan(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Plan:
        """What `sync` would do. Writes nothing. Of the engine only."""
        return _plan_of(self._run_here(Handle.plan, on_progress, on_event))

    def sync(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Result:
        """Brings the local copy up to date."""
        return _result_of(self._run_here(Handle.sync, on_progress, on_event))

    def verify(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Verification:
        """Compares the copy with the list that the last run followed, without a network. Of the
        engine only."""
        return _verification_of(self._run_here(Handle.verify, on_progress, on_event))

    def repair(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Result:
        """Like `sync`, but whatever the stamps say, and reading every file: fetches what is
        wrong, and only that. Of the engine only."""
        return _result_of(self._run_here(Handle.repair, on_progress, on_event))

    async def check_async(self, on_event: Optional[EventHandler] = None) -> bool:
        """Like `check`; the handler is a plain function. A task that is cancelled meanwhile
        ends the run within 200 ms. So do the others."""
        return _is_update(await self._run_in_task(Handle.check, None, on_event))

    async def plan_async(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Plan:
        """Like `plan`."""
        return _plan_of(await self._run_in_task(Handle.plan, on_progress, on_event))

    async def sync_async(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Result:
        """Like `sync`."""
        return _result_of(await self._run_in_task(Handle.sync, on_progress, on_event))

    async def verify_async(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Verification:
        """Like `verify`."""
        return _verification_of(await self._run_in_task(Handle.verify, on_progress, on_event))

    async def repair_async(
        self,
        on_progress: Optional[ProgressHandler] = None,
        on_event: Optional[EventHandler] = None,
    ) -> Result:
        """Like `repair`."""
        return _result_of(await self._run_in_task(Handle.repair, on_progress, on_event))

    def cancel(self) -> None:
        """Ends the run that is under way, if any, within 200 ms: it raises `Cancelled`,
        unless it has come to its end by itself. Any thread may call, and a handler too."""
        run = self._run
        if run is not None:
            run.cancel()

    def close(self) -> None:
        """Cancels a run that is under way, waits for its end and frees everything. What is
        not closed is freed when it is no longer used."""
        with self._lock:
            self._is_closed = True
            run = self._run
        if run is not None:
            run.cancel()
            run.join()
        self._handle.close()

    def _run_here(
        self,
        operation: Operation,
        on_progress: Optional[ProgressHandler],
        on_event: Optional[EventHandler],
    ) -> Run:
        announcements: "queue.SimpleQueue[None]" = queue.SimpleQueue()
        run = Run(self._handle, operation, lambda: announcements.put(None))
        try:
            self._start(run)
            while True:
                _wait_for(announcements)
                event = run.events.take()
                if event is None:
                    return run
                _deliver(event, run, on_progress, on_event)
        except BaseException:
            run.cancel()
            raise
        finally:
            run.join()

    async def _run_in_task(
        self,
        operation: Operation,
        on_progress: Optional[ProgressHandler],
        on_event: Optional[EventHandler],
    ) -> Run:
        announcements: "asyncio.Queue[None]" = asyncio.Queue()
        loop = asyncio.get_running_loop()

        def announce() -> None:
            try:
                loop.call_soon_threadsafe(announcements.put_nowait, None)
            except RuntimeError:  # The loop was closed: nobody waits any more.
                run.cancel()

        async def next_event() -> Union[Progress, Event, None]:
            await announcements.get()
            return run.events.take()

        run = Run(self._handle, operation, announce)
        try:
            self._start(run)
            while True:
                event = await next_event()
                if event is None:
                    break
                _deliver(event, run, on_progress, on_event)
        except GeneratorExit:  # Dropped unfinished, it cannot wait; the run ends by itself.
            run.cancel()
            raise
        except BaseException:
            run.cancel()
            while run.is_running and await next_event() is not None:
                pass
            run.join()
            raise
        run.join()
        return run

    def _start(self, run: Run) -> None:
        with self._lock:
            if self._is_closed:
                raise Error("the library is closed")
            if self._run is not None and self._run.is_running:
                raise Error("a run is under way already")
            self._run = run
            run.start()


def _wait_for(announcements: "queue.SimpleQueue[None]") -> None:
    while True:
        try:
            return announcements.get(timeout=_LONGEST_WAIT_SECONDS)
        except queue.Empty:
            continue


def _deliver(
    event: Union[Progress, Event],
    run: Run,
    on_progress: Optional[ProgressHandler],
    on_event: Optional[EventHandler],
) -> None:
    if isinstance(event, Progress):
        if on_progress is not None:
            on_progress(event)
        return
    log(event, cancelled=run.cancelled)
    if on_event is not None:
        on_event(event)


def _is_update(run: Run) -> bool:
    return run.outcome() == c.UPDATE_AVAILABLE


def _result_of(run: Run) -> Result:
    run.outcome()
    assert run.result is not None
    return dataclasses.replace(run.result, skipped_events=run.events.skipped)


def _plan_of(run: Run) -> Plan:
    run.outcome()
    assert run.plan is not None
    return run.plan


def _verification_of(run: Run) -> Verification:
    run.outcome()
    assert run.verification is not None
    return run.verification
