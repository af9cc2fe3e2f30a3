"""What the tests' scripts use inside Blender. Importing it enables the add-on, with the
preferences that the test gave to the process."""

import json
import sys
import traceback
from typing import Any, Callable, Dict, Iterator, List, Optional, Tuple

import bpy
import bpy_types

_TICK_SECONDS = 0.02


def addon_preferences() -> Any:
    return bpy.context.preferences.addons["mtllib_blender"].preferences


def set_preferences(**values: object) -> None:
    for name, value in values.items():
        setattr(addon_preferences(), name, value)


def asset_libraries() -> List[Tuple[str, str]]:
    return [(x.name, x.path) for x in bpy.context.preferences.filepaths.asset_libraries]


def tell(value: object) -> None:
    """To the test."""
    print("told: " + json.dumps(value), flush=True)


def is_running() -> bool:
    return bool(bpy.ops.mtllib.cancel.poll())


def status_text() -> str:
    """Of the workspace in the first window."""
    return _status_texts.get(bpy.context.window_manager.windows[0].workspace.name) or ""


def reports() -> str:
    """All that Blender's Info editor holds."""
    window = bpy.context.window_manager.windows[0]
    area = window.screen.areas[0]
    area.ui_type = "INFO"
    with bpy.context.temp_override(window=window, area=area, region=area.regions[-1]):
        bpy.ops.info.select_all()
        bpy.ops.info.report_copy()
    return str(bpy.context.window_manager.clipboard)


class RecordedLayout:
    """A layout of Blender that notes the names and texts of what is drawn."""

    layout: Any
    shown: List[str]

    def __init__(self, layout: Any, shown: List[str]) -> None:
        # Past __setattr__, which is for the layout of Blender.
        self.__dict__.update(layout=layout, shown=shown)

    def __setattr__(self, name: str, value: object) -> None:
        setattr(self.layout, name, value)

    def prop(self, _data: object, name: str, **options: object) -> None:
        self.shown.append(name)
        self.layout.prop(addon_preferences(), name, **options)

    def label(self, text: str, **options: object) -> None:
        self.shown.append(text)
        self.layout.label(text=text, **options)

    def operator(self, name: str, **options: object) -> None:
        self.shown.append(name)
        self.layout.operator(name, **options)

    def row(self) -> "RecordedLayout":
        return RecordedLayout(self.layout.row(), self.shown)

    def column(self) -> "RecordedLayout":
        return RecordedLayout(self.layout.column(), self.shown)

    def box(self) -> "RecordedLayout":
        return RecordedLayout(self.layout.box(), self.shown)


def show_preferences() -> Callable[[], List[str]]:
    """Opens them in a window. The result says what they showed when they were last drawn."""
    last: List[List[str]] = [[]]
    kind = type(addon_preferences())
    draw = kind.draw

    def draw_recorded(preferences: Any, context: Any) -> None:
        shown: List[str] = []
        # Where Blender puts it.
        kind.layout = RecordedLayout(kind.layout, shown)
        draw(preferences, context)
        last[0] = shown

    kind.draw = draw_recorded
    bpy.ops.preferences.addon_show(module="mtllib_blender")
    return lambda: last[0]


def press_escape() -> None:
    window = bpy.context.window_manager.windows[0]
    window.event_simulate(type="ESC", value="PRESS")
    window.event_simulate(type="ESC", value="RELEASE")


def play(scene: Callable[[], Iterator[Callable[[], object]]]) -> None:
    """Runs the generator while Blender's windows live, resuming it in the next moment that
    what it has yielded, a function, answers yes; then Blender quits."""
    steps = scene()
    condition: Callable[[], object] = lambda: True

    def go_on() -> Optional[float]:
        nonlocal condition
        try:
            if condition():
                condition = next(steps)
            return _TICK_SECONDS
        except StopIteration:
            pass
        except Exception:
            traceback.print_exc()
        # Later: Blender does not survive it in the moment that it has loaded a file.
        bpy.app.timers.register(_quit, first_interval=_TICK_SECONDS, persistent=True)
        return None

    bpy.app.timers.register(go_on, persistent=True)


def _quit() -> None:
    bpy.ops.wm.quit_blender()


def invoke(operator: Callable[[str], Any]) -> List[str]:
    """As a button in the first window does."""
    with bpy.context.temp_override(window=bpy.context.window_manager.windows[0]):
        return list(operator("INVOKE_DEFAULT"))


# Blender sets the text of the context's workspace, and lets nobody read it.
_status_texts: Dict[str, Optional[str]] = {}
_set_status_text = bpy_types.WorkSpace.status_text_set


def _note_status_text(workspace: Any, text: Optional[str]) -> None:
    _status_texts[bpy.context.workspace.name] = text
    _set_status_text(workspace, text)


bpy_types.WorkSpace.status_text_set = _note_status_text
bpy.ops.preferences.addon_enable(module="mtllib_blender")
set_preferences(**json.loads(sys.argv[-1]))
