"""Runs a task on a thread of its own, which never touches bpy."""

from __future__ import annotations

import threading
from typing import Callable, List, Optional, Union

import mtllib

from . import endings
from .message import Message
from .settings import PROXY_NONE, PROXY_SYSTEM, Settings
from .task import Task


class Work:
    """Begins when it is made; Blender's thread watches it."""

    def __init__(self, settings: Settings, task: Task) -> None:
        """Raises mtllib.LoadError and ValueError."""
        self.progress: Optional[mtllib.Progress] = None
        """The newest."""
        self.succeeded = False
        """Once it has ended; so is the message."""
        self.message = endings.cancelled()
        self._do = {
            Task.CHECK: self._check,
            Task.PLAN: self._plan,
            Task.SYNCHRONISE: self._synchronise,
            Task.VERIFY: self._verify,
            Task.REPAIR: self._repair,
        }[task]
        self._warnings: List[str] = []
        self._is_cancelled = False
        self._library = mtllib.Library(
            settings.address,
            settings.folder,
            proxy=_proxy_of(settings),
            module=settings.uses_module,
            options=_options_of(settings),
            keys=settings.keys,
            name=settings.library_name,
            allow_expired=settings.allow_expired,
            forget_keys=settings.forget_keys,
            mirrors=settings.mirrors,
            network=_network_of(settings),
        )
        # A daemon: the package ends its runs itself when the interpreter exits.
        self._thread = threading.Thread(target=self._run, name="mtllib_blender", daemon=True)
        self._thread.start()

    def wait(self, seconds: Optional[float] = None) -> bool:
        """Whether it has ended, within that time if one is given."""
        self._thread.join(seconds)
        return not self._thread.is_alive()

    def cancel(self) -> None:
        """Ends it within 200 ms, also when its thread has hardly begun."""
        self._is_cancelled = True
        self._library.close()

    def _run(self) -> None:
        with self._library:
            try:
                self.message = self._do()
                self.succeeded = True
            except Exception as error:
                if not self._is_cancelled:
                    self.message = endings.failed(error)

    def _check(self) -> Message:
        return endings.checked(self._library.check(self._note))

    def _plan(self) -> Message:
        return endings.planned(self._library.plan(self._show, self._note))

    def _synchronise(self) -> Message:
        result = self._library.sync(self._show, self._note)
        return endings.synchronised(result, self._warnings)

    def _verify(self) -> Message:
        return endings.verified(self._library.verify(self._show, self._note))

    def _repair(self) -> Message:
        result = self._library.repair(self._show, self._note)
        return endings.repaired(result, self._warnings)

    def _show(self, progress: mtllib.Progress) -> None:
        self.progress = progress

    def _note(self, event: mtllib.Event) -> None:
        if event.kind == "warning":
            self._warnings.append(mtllib.printable(event.text))


def _options_of(settings: Settings) -> mtllib.UpdateOptions:
    return mtllib.UpdateOptions(
        prune=settings.prune,
        tries=None if settings.retries is None else settings.retries + 1,
        bytes_per_second=_number(mtllib.parse_size, settings.limit_rate, "Limit Rate"),
        max_seconds=_number(mtllib.parse_duration, settings.max_time, "Max Time"),
    )


def _number(parse: Callable[[str], int], text: str, label: str) -> Optional[int]:
    """None for an empty text and for 0."""
    try:
        return parse(text) or None if text else None
    except ValueError as error:
        raise ValueError(f"{label}: {error}") from error


def _network_of(settings: Settings) -> mtllib.NetworkOptions:
    name, _, value = settings.request_field.partition(":")
    return mtllib.NetworkOptions(
        ca_file=settings.ca_file,
        proxy_user=settings.proxy_user,
        proxy_password=settings.proxy_password,
        fields={name: value.strip()} if settings.request_field else {},
        query=settings.query,
        user_agent=settings.user_agent,
        connect_seconds=_number(mtllib.parse_duration, settings.connect_timeout, "Connect Timeout"),
        stall_seconds=_number(mtllib.parse_duration, settings.stall_timeout, "Stall Timeout"),
    )


def _proxy_of(settings: Settings) -> Union[mtllib.SystemProxy, str, None]:
    if settings.proxy == PROXY_SYSTEM:
        return mtllib.SYSTEM_PROXY
    return None if settings.proxy == PROXY_NONE else settings.proxy_address
