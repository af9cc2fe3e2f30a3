"""Add-on for Blender that keeps a local copy of an online material library up to date, and
registers it as an asset library.

`work`, which runs on a thread of its own, and the modules that it uses never touch bpy.
"""

from . import menu, operators, preferences, session

bl_info = {
    "name": "mtllib: Online Material Library",
    "description": "Keeps a local copy of an online material library up to date",
    "author": "The mtllib developers",
    "version": (0, 0, 0),  # Written by the script that builds the zip.
    "blender": (3, 4, 0),
    "location": "Preferences > Add-ons; Asset Browser > Edit",
    "category": "Import-Export",
}


def register() -> None:
    preferences.register()
    operators.register()
    menu.register()


def unregister() -> None:
    session.stop()
    menu.unregister()
    operators.unregister()
    preferences.unregister()
