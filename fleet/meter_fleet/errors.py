"""The exceptions that end the work on a console early."""


class LinkLost(Exception):
    """The connection to the console failed or ended."""


class Hopeless(LinkLost):
    """The connection failed, and another attempt would fail in the same way."""


class Interrupted(Exception):
    """A signal asked the program to end."""


class Astray(Exception):
    """Something unexpected happened in the session. meter-fleet leaves the utility without saving
    and starts another session."""


class Foreign(Astray):
    """Someone else types on the console."""


class Silent(Astray):
    """The console does not answer."""
