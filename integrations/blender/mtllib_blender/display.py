"""Shows in Blender's windows how far a run has come: at the cursor and in the status bar."""

from __future__ import annotations

from typing import Optional, Set

import bpy

_PERMILLE = 1000


class Display:
    """Used by Blender's thread, from `begin` to `end`."""

    def __init__(self) -> None:
        # By name: undoing and loading replace what a reference would refer to.
        self._workspaces: Set[str] = set()

    def begin(self) -> None:
        bpy.context.window_manager.progress_begin(0, _PERMILLE)

    def show(self, text: str, permille: Optional[int]) -> None:
        if permille is not None:
            bpy.context.window_manager.progress_update(permille)
        workspace = bpy.context.workspace
        if workspace is not None:
            self._workspaces.add(workspace.name)
            workspace.status_text_set(f"{text}  |  Esc: cancel")
        _redraw_preferences()

    def end(self) -> None:
        bpy.context.window_manager.progress_end()
        # The user may have changed the workspace meanwhile, and each has a text of its own.
        for name in self._workspaces:
            workspace = bpy.data.workspaces.get(name)
            if workspace is not None:
                with bpy.context.temp_override(workspace=workspace):
                    workspace.status_text_set(None)
        _redraw_preferences()


def _redraw_preferences() -> None:
    for window in bpy.context.window_manager.windows:
        for area in window.screen.areas:
            if area.type == "PREFERENCES":
                area.tag_redraw()
