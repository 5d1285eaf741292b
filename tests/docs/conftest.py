"""Adds docs/tools to the module path."""

import sys

from harness.program import REPOSITORY

sys.path.insert(0, str(REPOSITORY / "docs" / "tools"))
