"""`python -m mtllib URL DIR`: the package as a program."""

import sys

from mtllib._command_line import main

sys.exit(main())
