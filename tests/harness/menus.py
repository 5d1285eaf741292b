"""The numbers of the main menu's items, for tests and guides that type keys without a transcript."""

PORT, PRIMARY_DNS, SECONDARY_DNS, PASSWORDS, INIT, SAVE = range(1, 7)  # with -m
SAVE_WITHOUT_INIT = INIT  # without -m, the item for saving has the number that INIT has with -m


def typed(keys):
    """Returns `keys` with a number instead of each item name in braces: "{SAVE}\\n" becomes "6\\n"."""
    return keys.format(**globals())
