"""The operators: synchronise, check, plan, verify, repair, cancel."""

from __future__ import annotations

import dataclasses
from typing import Any, Optional, Set

import bpy
from bpy.props import BoolProperty

from . import asset_library, message, package, preferences, session
from .message import Message
from .settings import Settings
from .task import Task

Status = Set[str]


class _TaskOperator:
    """Runs a task in the background when invoked by a user, and while its caller waits when
    called by a script or in a Blender without windows, where no timers come."""

    _task: Task
    _session: session.Session
    _settings: Settings

    def settings(self, context: Any) -> Settings:
        return preferences.settings(context)

    def after_success(self) -> None:
        """On Blender's thread."""

    def execute(self, context: Any) -> Status:
        if not self._start(context):
            return {"CANCELLED"}
        self._session.wait()
        return self._finish()

    def invoke(self, context: Any, _event: Any) -> Status:
        if bpy.app.background or context.window is None:
            return self.execute(context)
        if not self._start(context):
            return {"CANCELLED"}
        # The window of the preferences may be closed meanwhile, its parent stays.
        window = context.window.parent or context.window
        self._session.add_timer(window)
        with context.temp_override(window=window):
            context.window_manager.modal_handler_add(self)
        return {"RUNNING_MODAL"}

    def modal(self, _context: Any, event: Any) -> Status:
        if event.type == "ESC" and event.value == "PRESS":
            self._session.work.cancel()
            return {"RUNNING_MODAL"}
        if event.type == "TIMER" and self._session.has_ended():
            return self._finish()
        return {"PASS_THROUGH"}

    def cancel(self, _context: Any) -> None:
        """Blender closes the window, or loads another file."""
        session.stop()

    def _start(self, context: Any) -> bool:
        """Starts the work, or reports why it cannot."""
        self._settings = self.settings(context)
        obstacle = _obstacle(self._settings) or self._begin()
        if obstacle is not None:
            self._report(obstacle)
        return obstacle is None

    def _begin(self) -> Optional[Message]:
        # Only now can they be imported: they use the package.
        from . import endings, work

        try:
            self._session = session.start(work.Work(self._settings, self._task))
        except Exception as error:
            return endings.failed(error)
        return None

    def _finish(self) -> Status:
        session.end()
        work = self._session.work
        if work.succeeded:
            self.after_success()
        self._report(work.message)
        return {"FINISHED"} if work.succeeded else {"CANCELLED"}

    def _report(self, told: Message) -> None:
        session.note(told)
        self.report({told.level}, told.text)  # type: ignore[attr-defined]


def _obstacle(settings: Settings) -> Optional[Message]:
    """What keeps every task from starting."""
    if session.current() is not None:
        return message.error(
            "The add-on is at work already", "Wait for its end, or cancel it"
        )
    missing = settings.missing()
    if missing is not None:
        return message.error(f"{missing} is empty", "Set it in the add-on's preferences")
    try:
        package.provide()
    except package.MissingPackage as error:
        return message.error(
            str(error), "Install the add-on from its zip file, which has the package in it"
        )
    return None


class _ChangingOperator(_TaskOperator):
    """Afterwards the copy is there, perhaps with other files."""

    def after_success(self) -> None:
        asset_library.register(self._settings.asset_library, self._settings.folder)
        asset_library.refresh_browsers()


class MTLLIB_OT_synchronise(_ChangingOperator, bpy.types.Operator):
    bl_idname = "mtllib.synchronise"
    bl_label = "Synchronise Material Library"
    bl_description = (
        "Bring the local copy of the online material library up to date, and register it as an "
        "asset library"
    )

    _task = Task.SYNCHRONISE

    forget_keys: BoolProperty(  # type: ignore[valid-type]
        name="Forget Keys",
        description="Forget what the copy has had with keys: it may be updated without, with other "
        "keys, to a library of another name, or to an older release",
        options={"SKIP_SAVE"},
    )

    def settings(self, context: Any) -> Settings:
        return dataclasses.replace(super().settings(context), forget_keys=self.forget_keys)


class MTLLIB_OT_repair(_ChangingOperator, bpy.types.Operator):
    bl_idname = "mtllib.repair"
    bl_label = "Repair Material Library"
    bl_description = (
        "Read all files of the local copy, and fetch those that are damaged, missing or out of "
        "date"
    )
    _task = Task.REPAIR


class MTLLIB_OT_check(_TaskOperator, bpy.types.Operator):
    bl_idname = "mtllib.check"
    bl_label = "Check Material Library"
    bl_description = "Check whether the online material library has changed; writes nothing"
    _task = Task.CHECK


class MTLLIB_OT_plan(_TaskOperator, bpy.types.Operator):
    bl_idname = "mtllib.plan"
    bl_label = "Preview Material Library"
    bl_description = "Show what a synchronisation would fetch and change; writes nothing"
    _task = Task.PLAN


class MTLLIB_OT_verify(_TaskOperator, bpy.types.Operator):
    bl_idname = "mtllib.verify"
    bl_label = "Verify Material Library"
    bl_description = (
        "Report which files of the local copy are damaged, missing or not of the library, without "
        "a network; writes nothing"
    )
    _task = Task.VERIFY


class MTLLIB_OT_cancel(bpy.types.Operator):
    bl_idname = "mtllib.cancel"
    bl_label = "Cancel"
    bl_description = "End what the add-on is doing"

    @classmethod
    def poll(cls, _context: Any) -> bool:
        return session.current() is not None

    def execute(self, _context: Any) -> Status:
        running: Optional[session.Session] = session.current()
        if running is not None:
            running.work.cancel()
        return {"FINISHED"}


register, unregister = bpy.utils.register_classes_factory(
    (
        MTLLIB_OT_synchronise,
        MTLLIB_OT_check,
        MTLLIB_OT_plan,
        MTLLIB_OT_verify,
        MTLLIB_OT_repair,
        MTLLIB_OT_cancel,
    )
)
