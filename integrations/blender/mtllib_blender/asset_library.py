"""Registers the folder of the local copy among Blender's asset libraries."""

from __future__ import annotations

import os
from typing import Any, Optional

import bpy


def register(name: str, folder: str) -> None:
    """Afterwards exactly one of the asset libraries has the folder. It keeps its entry when
    only one of name and folder has changed."""
    entry = _entry_with_folder(folder)
    if entry is not None:
        if name not in _entries():
            entry.name = name
        return
    entry = _entries().get(name)
    if entry is None:
        bpy.ops.preferences.asset_library_add(directory=folder)
        entry = _entries()[-1]
        entry.name = name
    entry.path = folder


def refresh_browsers() -> None:
    """Lets the Asset Browsers that are open show the new files."""
    for window in bpy.context.window_manager.windows:
        for area in window.screen.areas:
            if area.ui_type == "ASSETS":
                with bpy.context.temp_override(window=window, area=area):
                    bpy.ops.asset.library_refresh()


def _entries() -> Any:
    return bpy.context.preferences.filepaths.asset_libraries


def _entry_with_folder(folder: str) -> Optional[Any]:
    return next((x for x in _entries() if _resolved(x.path) == _resolved(folder)), None)


def _resolved(path: str) -> str:
    return str(os.path.realpath(bpy.path.abspath(path)))
