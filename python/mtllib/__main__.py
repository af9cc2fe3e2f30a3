"""Runs the package as a program: `python -m mtllib URL DIR`."""

import sys

from mtllib._command_line import main

sys.exit(main())
