"""The add-on's preferences, with its buttons."""

import os
from typing import Any, Tuple

import bpy
from bpy.props import BoolProperty, EnumProperty, IntProperty, StringProperty

from . import session
from .settings import PROXY_ADDRESS, PROXY_NONE, PROXY_SYSTEM, Settings


def _make_folder_absolute(preferences: Any, _context: Any) -> None:
    """Blender may have put down the folder relative to the file that is open."""
    folder = preferences.folder
    if folder:
        # As an item, which does not call this again.
        preferences["folder"] = os.path.abspath(os.path.expanduser(bpy.path.abspath(folder)))


# What says how requests are sent, in the order in which it is shown.
_NETWORK = (
    *("proxy_user", "proxy_password", "ca_file", "request_field", "query", "user_agent"),
    *("connect_timeout", "stall_timeout", "max_time", "retries", "limit_rate"),
)


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
    user_agent: StringProperty(  # type: ignore[valid-type]
        name="User Agent", description="Name sent to servers; empty for mtllib/VERSION"
    )
    connect_timeout: StringProperty(  # type: ignore[valid-type]
        name="Connect Timeout",
        description="Longest time to connect, such as 90s, 5m or 2h; empty for 30s",
    )
    stall_timeout: StringProperty(  # type: ignore[valid-type]
        name="Stall Timeout",
        description="Longest time without any data, such as 90s, 5m or 2h; empty for 60s",
    )
    max_time: StringProperty(  # type: ignore[valid-type]
        name="Max Time",
        description="Give up if the whole run takes longer, such as 90s, 5m or 2h; empty for no "
        "limit",
    )
    retries: IntProperty(  # type: ignore[valid-type]
        name="Retries",
        description="How often a failed request is tried again",
        default=4,
        min=0,
    )
    limit_rate: StringProperty(  # type: ignore[valid-type]
        name="Limit Rate",
        description="Receive at most so much per second, in bytes, or with k, M or G, such as 10M; "
        "empty for no limit",
    )
    shows_network: BoolProperty(  # type: ignore[valid-type]
        name="Network", description="Show how requests are sent"
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
        layout.prop(self, "asset_library")
        layout.prop(self, "keys")
        layout.prop(self, "library_name")
        if self.keys:
            layout.prop(self, "allow_expired")
        layout.prop(self, "uses_module")
        if not self.uses_module:
            layout.prop(self, "prune")
        self._draw_network(layout.box())
        self._draw_buttons(layout)

    def _draw_network(self, box: Any) -> None:
        """Also for the module, which refuses what is set here: it can be seen and taken back."""
        icon = "DISCLOSURE_TRI_DOWN" if self.shows_network else "DISCLOSURE_TRI_RIGHT"
        row = box.row()
        row.use_property_split = False
        row.alignment = "LEFT"
        row.prop(self, "shows_network", icon=icon, emboss=False)
        if self.shows_network:
            column = box.column()
            column.active = not self.uses_module
            for name in _NETWORK:
                column.prop(self, name)

    def _draw_buttons(self, layout: Any) -> None:
        failure = session.failure()
        if failure is not None:
            box = layout.box()
            box.alert = True
            for number, line in enumerate(failure.lines()):
                box.label(text=line, icon="NONE" if number else "ERROR")
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
        preferences.user_agent.strip(),
        preferences.connect_timeout.strip(),
        preferences.stall_timeout.strip(),
        preferences.max_time.strip(),
        preferences.limit_rate.strip(),
        preferences.retries,
    )


def _parts_of(text: str) -> Tuple[str, ...]:
    """An empty one between commas stays, and is refused: it is a mistake, and for keys must not
    come to nobody checking."""
    return tuple(part.strip() for part in text.split(",")) if text.strip() else ()


register, unregister = bpy.utils.register_classes_factory((MtllibPreferences,))
