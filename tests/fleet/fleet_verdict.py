"""Checks the store, the calls and the report after a run of meter-fleet on one meter."""

import option_words
from fleet_plans import LEAVES, NUMBERS, read_setting

GENERAL = "/VMC/Comms/EthPort/1/General/"
# Maps each of these settings to its mirror, which a save also writes.
MIRRORS = {
    "dhcp": GENERAL + "DHCP/Value",
    "ip_address": GENERAL + "IPAddress/Value",
    "subnet_mask": GENERAL + "SubnetMask/Value",
    "default_gateway": GENERAL + "DefaultGateway/Value",
}
TRIGGERS = "/VMF/UpdateService/"
OPTIONS = "/VMIC/Options/"
FORBIDDEN_COMMANDS = ("sernetpwreset.sh", "fw_reset.sh")
QUIET_RESULTS = ("ok", "differs", "rejected", "unreachable")  # with these results, the meter did not change
GOOD_RESULTS = ("ok", "changed")


def is_as_planned(leaves, settings):
    return all(same(read_setting(leaves, key), wanted) for key, wanted in settings.items())


def same(one, other):
    return type(one) is type(other) and one == other


def not_as_planned(leaves, settings):
    return {key: (wanted, read_setting(leaves, key)) for key, wanted in settings.items()
            if not same(read_setting(leaves, key), wanted)}


def changed_settings(before, after):
    return {key for key, path in LEAVES.items() if not same(before.get(path), after.get(path))}


# --- the trace


def writes(calls):
    return [call for call in calls if call["call"] in ("set_leaf", "set_leaves", "clear_leaves")]


def commands(calls):
    return [call["command"] for call in calls if call["call"] == "system"]


def clears_the_options(call):
    return call["call"] == "set_leaves" and any(
        leaf["path"] == LEAVES["options_list"] and leaf["value"] == "" for leaf in call["leaves"])


def forbidden(calls):
    """Finds forbidden actions in the calls: password resets, factory resets and clearing the options list."""
    found = [line for line in commands(calls) if line.startswith(FORBIDDEN_COMMANDS)]
    return found + ["options cleared" for call in calls if clears_the_options(call)]


# --- judging


def allowed_to_change(settings):
    """Returns the leaves that a save of these settings may write."""
    paths = {LEAVES[key] for key in settings} | {MIRRORS[key] for key in settings if key in MIRRORS}
    return paths


def stray_changes(before, after, settings):
    """Returns the leaves that changed although no setting of the plan writes them."""
    allowed = allowed_to_change(settings)
    changed = {path for path in before.keys() | after.keys() if not same(before.get(path), after.get(path))}
    if "options_list" in settings:
        changed = {path for path in changed if not path.startswith(OPTIONS)}
    return sorted(path for path in changed - allowed if not path.startswith(TRIGGERS))


def wrong_option_leaves(after, settings):
    """Returns the option leaves that differ from the options list. If a save writes a leaf twice, the store
    must contain the last value."""
    wanted = dict(option_words.examine(settings["options_list"]).batch)
    return sorted(path for path, leaf in wanted.items() if after.get(path) is not leaf)


def wrong_after_a_change(before, after, settings):
    changed = changed_settings(before, after) & settings.keys()
    found = [f"the mirror of {key} is {after.get(MIRRORS[key])!r}" for key in changed & MIRRORS.keys()
             if settings[key] != "" and not same(after.get(MIRRORS[key]), mirrored(settings[key]))]
    if "options_list" in changed:
        found += [f"{path} differs from the options list" for path in wrong_option_leaves(after, settings)]
    return found


def mirrored(wanted):
    return int(wanted) if isinstance(wanted, bool) else wanted


def early_keys(sessions):
    """Counts the keys that meter-fleet sent too early, for each reason."""
    counts = {}
    for event in (event for session in sessions for event in session):
        if event["event"] == "key" and event["early"]:
            counts[event["early"]] = counts.get(event["early"], 0) + 1
    return counts


# The reasons that are errors. A key is not an error if meter-fleet had already sent it when somebody else's
# Enter or the utility's time-out began another screen or a command.
TOO_EARLY = {"command": "while a command was running", "screen": "before a screen was complete"}


def too_early(sessions):
    counts = early_keys(sessions)
    return [f"{counts[why]} keys were typed {when}" for why, when in TOO_EARLY.items() if why in counts]


def problems(meter, settings, result):
    """Returns the errors after an apply or check of these settings, as lines of text."""
    before, after, calls = meter.leaves_before, meter.leaves(), meter.calls()
    kind = result["result"]
    found = [f"forbidden: {what}" for what in forbidden(calls)]
    if kind in GOOD_RESULTS:
        found += [f"{kind}, but {key} is {held!r} instead of {wanted!r}"
                  for key, (wanted, held) in not_as_planned(after, settings).items()]
        found += [f"{kind}: {what}" for what in wrong_after_a_change(before, after, settings)]
    found += [f"{kind}: {path} became {after.get(path)!r}" for path in stray_changes(before, after, settings)]
    if kind in QUIET_RESULTS and (writes(calls) or commands(calls)):
        found.append(f"{kind}, but there were {len(writes(calls))} writes, {len(commands(calls))} commands")
    found += too_early(meter.sessions())
    return found + wrong_report(after, settings, result)


def wrong_report(after, settings, result):
    """Returns errors in the report, as lines of text. If the result is good, compares the reported settings
    with the store. Any other result except `differs` must have a message."""
    if result["result"] not in GOOD_RESULTS:
        return [] if result["messages"] else [f"{result['result']} without a message"] \
            if result["result"] != "differs" else []
    return [f"the report says {key} is {value!r}, the store {read_setting(after, key)!r}"
            for key, value in result["settings"].items()
            if key in LEAVES and not same(read_setting(after, key), value)
            and not (key in NUMBERS and as_shown(value) == as_shown(read_setting(after, key)))]


def as_shown(value):
    return "" if value is None else str(value)
