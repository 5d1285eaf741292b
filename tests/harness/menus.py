"""The numbers of the main menu's items, for tests and guides that type keys without a transcript."""

PORT, PRIMARY_DNS, SECONDARY_DNS, PASSWORDS, INIT, SAVE = range(1, 7)  # as -m shows them
SAVE_WITHOUT_INIT = INIT  # otherwise the save follows the password reset


def typed(keys):
    """`keys` with the number of each item that stands in braces: "{SAVE}\\n"."""
    return keys.format(**globals())
