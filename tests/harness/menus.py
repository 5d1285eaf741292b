"""The numbers of the main menu's items, for tests and guides that type keys without a transcript."""

PORT, PRIMARY_DNS, SECONDARY_DNS, PASSWORDS, INIT, SAVE = range(1, 7)  # with -m
SAVE_WITHOUT_INIT = INIT  # without -m, the save follows the password reset


def typed(keys):
    """Replaces each item's name in braces with its number: "{SAVE}\\n"."""
    return keys.format(**globals())
