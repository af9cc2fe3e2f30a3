"""The entries in the menu of the Asset Browser."""

from __future__ import annotations

from typing import Any

import bpy


def _draw(menu: Any, _context: Any) -> None:
    menu.layout.separator()
    menu.layout.operator("mtllib.synchronise")
    menu.layout.operator("mtllib.check")
    menu.layout.operator("mtllib.plan")
    menu.layout.operator("mtllib.verify")
    menu.layout.operator("mtllib.repair")
    menu.layout.operator("mtllib.cancel", text="Cancel Material Library")


def register() -> None:
    bpy.types.ASSETBROWSER_MT_edit.append(_draw)


def unregister() -> None:
    bpy.types.ASSETBROWSER_MT_edit.remove(_draw)
