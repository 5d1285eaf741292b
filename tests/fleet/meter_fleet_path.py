"""Makes the package of `fleet/` importable. Imported for that alone."""

import sys

from harness.program import REPOSITORY

sys.path.insert(0, str(REPOSITORY / "fleet"))
