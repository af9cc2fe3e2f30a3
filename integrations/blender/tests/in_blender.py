"""What the tests' scripts use inside Blender. Importing it enables the add-on, with the
preferences that the test gave to the process."""

import json
import sys
import traceback
from typing import Any, Callable, Iterator, List, Tuple

import bpy

_TICK_SECONDS = 0.02


def addon_preferences() -> Any:
    return bpy.context.preferences.addons["mtllib_blender"].preferences


def set_preferences(**values: str) -> None:
    for name, value in values.items():
        setattr(addon_preferences(), name, value)


def asset_libraries() -> List[Tuple[str, str]]:
    return [(x.name, x.path) for x in bpy.context.preferences.filepaths.asset_libraries]


def tell(value: object) -> None:
    """To the test."""
    print("told: " + json.dumps(value), flush=True)


def is_running() -> bool:
    return bool(bpy.ops.mtllib.cancel.poll())


def play(scene: Callable[[], Iterator[Callable[[], object]]]) -> None:
    """Runs the generator while Blender's windows live, resuming it in the next moment that
    what it has yielded, a function, answers yes; then Blender quits."""
    steps = scene()
    condition: Callable[[], object] = lambda: True

    def go_on() -> "float | None":
        nonlocal condition
        try:
            if condition():
                condition = next(steps)
            return _TICK_SECONDS
        except StopIteration:
            bpy.ops.wm.quit_blender()
        except Exception:
            traceback.print_exc()
            bpy.ops.wm.quit_blender()
        return None

    bpy.app.timers.register(go_on, persistent=True)


def invoke(operator: Callable[[str], Any]) -> List[str]:
    """As a button in the first window does."""
    with bpy.context.temp_override(window=bpy.context.window_manager.windows[0]):
        return list(operator("INVOKE_DEFAULT"))


bpy.ops.preferences.addon_enable(module="mtllib_blender")
set_preferences(**json.loads(sys.argv[-1]))
