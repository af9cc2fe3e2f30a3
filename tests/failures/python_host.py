"""A host in Python that synchronises, and prints how a failure is explained to users: kind, about,
sentence and hint, a line each.

usage: python_host.py ADDRESS FOLDER [NAME=VALUE...]
"""

import sys

import mtllib

address, folder, *rest = sys.argv[1:]
options = dict(option.split("=", 1) for option in rest)


def cancel(*_):
    if "cancel" in options:
        library.cancel()


try:
    library = mtllib.Library(
        address,
        folder,
        proxy=options.get("proxy"),
        module=options.get("module"),
        options=mtllib.UpdateOptions(tries=1),
        keys=[options["key"]] if "key" in options else [],
        network=mtllib.NetworkOptions(
            ca_file=options.get("ca", ""),
            connect_seconds=int(options["connect"]) if "connect" in options else None,
            stall_seconds=int(options["stall"]) if "stall" in options else None,
        ),
    )
    library.sync(on_progress=cancel, on_event=cancel)
except (mtllib.ChainError, mtllib.Cancelled) as error:
    print(error.kind.name.lower(), error.about, error, error.hint, sep="\n")
