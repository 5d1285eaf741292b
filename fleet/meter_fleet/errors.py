"""Why work on a console ends early."""


class LinkLost(Exception):
    """The console cannot be reached any more, or could not be."""


class Hopeless(LinkLost):
    """It is no use to connect again."""


class Interrupted(Exception):
    """A signal asks to leave."""


class Astray(Exception):
    """The session is not where it should be: it is left without saving, and another one begins."""


class Foreign(Astray):
    """Someone else types on the console."""


class Silent(Astray):
    """The console does not answer."""
