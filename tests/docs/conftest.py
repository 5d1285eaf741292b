"""Makes the modules of docs/tools known to the tests."""

import sys

from harness.program import REPOSITORY

sys.path.insert(0, str(REPOSITORY / "docs" / "tools"))
