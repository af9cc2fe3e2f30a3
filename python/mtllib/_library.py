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

    There are two ways to keep a copy. The engine is the default: it fetches what has changed,
    checks the digests in the library's list, and replaces files whole, once all of them are there.
    The module fetches everything that the list selects as soon as the stamp has changed; it can
    only `check` and `sync`. Both may be used on the same copy in turn.

    Any thread may use it. One operation (a run) is possible at a time; a second one raises `Error`.
    Several libraries may run at once, each on a thread of its own. If several share a directory, in
    whichever processes, one can sync or repair it at a time: another one fails or, with
    `UpdateOptions.wait`, waits.

    A run that ends early, for whatever reason, leaves the copy marked as old: the engine's next run
    continues from there, the module's starts over. A keyboard interrupt ends a run within 200 ms;
    then `KeyboardInterrupt` is raised.

    A run that fails raises `SyncError`, which has subclasses for what a failure is about. It may
    also raise `Cancelled`, or whatever a handler raises.

    Handlers are called on the thread that started the run, or in the task that awaits it, while the
    transfers continue. They may call `cancel` and `close`. If they cannot keep up, progress skips
    steps, and once 1000 events wait, the oldest stages, information and files are dropped, but
    never warnings or errors. An exception from a handler cancels the run, which then raises it. The
    transfers need the interpreter's lock for every event, and stand still while it is held for
    long.

    Messages also go to the logger "mtllib": stages as DEBUG, information as INFO, warnings as
    WARNING, and the failure that ends a run as ERROR, or as INFO if the run was cancelled.
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
        """Transfers and writes nothing yet. Raises `LoadError`, or for arguments that cannot be
        used `ValueError`, mostly as `SettingsError`.

        url: the address of the remote library.
        directory: the folder of the local copy, which is created if it is missing.
        sub_path: a sub-path of the remote library, of letters, digits and "-._~/".
        proxy: the system's, None for none, or the address of an HTTP proxy. One that cannot be used
            is a failure: nothing is sent without it.
        module: the module to use in place of the engine, or True for the one that comes with the
            package.
        options: how the copy is brought up to date.
        keys: the public key of the library's publisher, or several, any of which may have signed:
            the 56 characters of a key ("RWQ..."), the text of its file, or the name of its file.
            With keys, nothing takes effect that is not signed with one of them, or that is
            older than what the copy has seen: runs raise `UntrustedError`. A copy that was once
            updated with keys is not updated without them. Used by the engine only.
        name: the name that the publisher has given to the library. If empty, the name of the
            release that the copy was first brought to with keys.
        allow_expired: accept an expired release, with a warning.
        forget_keys: forget what the copy has seen with keys: it may then be updated without keys,
            with other keys, to a library of another name, or to an older release.
        mirrors: other addresses of the same library. If one does not answer, lags, or lacks
            something that was published, another one is asked. With keys, their order is random for
            each run, and the library's list may add addresses; without keys, the first one that
            answers decides what the library contains. Used by the engine only.
        network: how requests are sent: trusted authorities, the proxy's user, request fields, time
            limits. Used by the engine only.
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
        """Like `sync`, but regardless of the stamps and reading every file: fetches what is wrong,
        and nothing else. Of the engine only."""
        return _result_of(self._run_here(Handle.repair, on_progress, on_event))

    async def check_async(self, on_event: Optional[EventHandler] = None) -> bool:
        """Like `check`; the handler is a plain function. If the task is cancelled, the run ends
        within 200 ms. The same applies to the following."""
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
        """Ends the current run, if there is one, within 200 ms: it raises `Cancelled`, unless it
        has just finished. Any thread may call this, including a handler."""
        run = self._run
        if run is not None:
            run.cancel()

    def close(self) -> None:
        """Cancels the current run, waits for its end and frees everything. A library that is not
        closed is freed when it is no longer used."""
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
        except GeneratorExit:  # It was dropped and cannot wait; the run ends by itself.
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
