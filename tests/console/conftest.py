import tomllib

import pytest
from harness.meter import FACTORY, Meter


@pytest.fixture
def meter(request):
    """A fresh meter as shipped, kept when the test fails."""
    made = Meter(request.node.name, tomllib.loads(FACTORY.read_text()))
    failures = request.session.testsfailed
    yield made
    if request.session.testsfailed == failures:
        made.remove()
