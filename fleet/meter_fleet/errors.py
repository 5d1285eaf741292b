"""The exceptions that end a connection or a session early."""


class LinkLost(Exception):
    """The connection to the console failed or ended."""


class Hopeless(LinkLost):
    """The connection failed, and another attempt to connect would fail for the same reason."""


class Interrupted(Exception):
    """A signal asked meter-fleet to stop."""


class Astray(Exception):
    """Something unexpected happened in the session. meter-fleet leaves the utility without saving
    and starts another session."""


class Foreign(Astray):
    """Someone else types on the console."""


class Silent(Astray):
    """The console does not answer."""
