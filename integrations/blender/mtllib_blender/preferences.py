"""The add-on's preferences, with its buttons."""

import os
from typing import Any, Tuple

import bpy
from bpy.props import BoolProperty, EnumProperty, StringProperty

from . import session
from .settings import PROXY_ADDRESS, PROXY_NONE, PROXY_SYSTEM, Settings


def _make_folder_absolute(preferences: Any, _context: Any) -> None:
    """Blender may have put down the folder relative to the file that is open."""
    folder = preferences.folder
    if folder:
        # As an item, which does not call this again.
        preferences["folder"] = os.path.abspath(os.path.expanduser(bpy.path.abspath(folder)))


class MtllibPreferences(bpy.types.AddonPreferences):
    bl_idname = __package__

    address: StringProperty(  # type: ignore[valid-type]
        name="Address",
        description="Address of the online library, such as https://library.example/materials",
    )
    mirrors: StringProperty(  # type: ignore[valid-type]
        name="Mirrors",
        description="Other addresses of the same library, with commas between them, for when the "
        "first one does not answer",
    )
    folder: StringProperty(  # type: ignore[valid-type]
        name="Folder",
        description="Folder of the local copy, made if missing; keep nothing else in it",
        subtype="DIR_PATH",
        update=_make_folder_absolute,
    )
    proxy: EnumProperty(  # type: ignore[valid-type]
        name="Proxy",
        items=(
            (PROXY_SYSTEM, "System", "The proxy of the system's settings"),
            (PROXY_NONE, "None", "No proxy"),
            (PROXY_ADDRESS, "Address", "The HTTP proxy at an address"),
        ),
    )
    proxy_address: StringProperty(  # type: ignore[valid-type]
        name="Proxy Address", description="HOST:PORT"
    )
    asset_library: StringProperty(  # type: ignore[valid-type]
        name="Asset Library",
        description="Name of the asset library as which the folder is registered",
        default="Online Materials",
    )
    prune: BoolProperty(  # type: ignore[valid-type]
        name="Remove Withdrawn Files",
        description="Remove files of the local copy that the online library has withdrawn",
    )
    keys: StringProperty(  # type: ignore[valid-type]
        name="Public Keys",
        description="Take only what one of these keys has signed: keys of the library's publisher, "
        "or the names of their files, with commas between them",
    )
    library_name: StringProperty(  # type: ignore[valid-type]
        name="Library Name",
        description="Name that the library must be signed with; empty for that of the release "
        "that comes first",
    )
    allow_expired: BoolProperty(  # type: ignore[valid-type]
        name="Allow Expired",
        description="Take a signed release that has expired, with a warning",
    )
    ca_file: StringProperty(  # type: ignore[valid-type]
        name="CA File",
        description="File (PEM) with the authorities that are trusted; empty for the system's",
        subtype="FILE_PATH",
    )
    proxy_user: StringProperty(  # type: ignore[valid-type]
        name="Proxy User", description="User name for the proxy; empty for none"
    )
    proxy_password: StringProperty(  # type: ignore[valid-type]
        name="Proxy Password", description="Password for the proxy", subtype="PASSWORD"
    )
    request_field: StringProperty(  # type: ignore[valid-type]
        name="Request Field",
        description="Sent with every request over https, such as Authorization: Bearer ...",
        subtype="PASSWORD",
    )
    query: StringProperty(  # type: ignore[valid-type]
        name="Query",
        description="Stands behind the ? of every URL, as signed URLs have it",
        subtype="PASSWORD",
    )
    uses_module: BoolProperty(  # type: ignore[valid-type]
        name="Use the Module",
        description="Let the module do the work: it fetches everything when anything has "
        "changed, and can neither preview, verify nor repair",
    )

    def draw(self, _context: Any) -> None:
        layout = self.layout
        layout.use_property_split = True
        layout.prop(self, "address")
        if not self.uses_module:
            layout.prop(self, "mirrors")
        layout.prop(self, "folder")
        layout.prop(self, "proxy")
        if self.proxy == PROXY_ADDRESS:
            layout.prop(self, "proxy_address")
        if not self.uses_module:
            if self.proxy != PROXY_NONE:
                layout.prop(self, "proxy_user")
                layout.prop(self, "proxy_password")
            for name in ("ca_file", "request_field", "query"):
                layout.prop(self, name)
        layout.prop(self, "asset_library")
        layout.prop(self, "keys")
        layout.prop(self, "library_name")
        if self.keys:
            layout.prop(self, "allow_expired")
        layout.prop(self, "uses_module")
        if not self.uses_module:
            layout.prop(self, "prune")
        running = session.current()
        row = layout.row()
        if running is None:
            row.operator("mtllib.synchronise", icon="FILE_REFRESH")
            row.operator("mtllib.check", icon="VIEWZOOM")
            if not self.uses_module:
                row = layout.row()
                row.operator("mtllib.plan", icon="PREVIEW_RANGE")
                row.operator("mtllib.verify", icon="CHECKMARK")
                row.operator("mtllib.repair", icon="TOOL_SETTINGS")
        else:
            row.label(text=running.text)
            row.operator("mtllib.cancel", icon="X")


def settings(context: Any) -> Settings:
    """The present ones."""
    preferences = context.preferences.addons[__package__].preferences
    return Settings(
        preferences.address.strip(),
        preferences.folder,
        preferences.proxy,
        preferences.proxy_address.strip(),
        preferences.asset_library.strip(),
        preferences.prune,
        preferences.uses_module,
        _parts_of(preferences.keys),
        preferences.library_name.strip(),
        preferences.allow_expired,
        () if preferences.uses_module else _parts_of(preferences.mirrors),
        bpy.path.abspath(preferences.ca_file),
        preferences.proxy_user.strip(),
        preferences.proxy_password,
        preferences.request_field.strip(),
        preferences.query.strip(),
    )


def _parts_of(text: str) -> Tuple[str, ...]:
    """An empty one between commas stays, and is refused: it is a mistake, and for keys must not
    come to nobody checking."""
    return tuple(part.strip() for part in text.split(",")) if text.strip() else ()


register, unregister = bpy.utils.register_classes_factory((MtllibPreferences,))
