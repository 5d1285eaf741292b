"""Generates the pictures, the generated parts of the guides, and a table for meter-fleet."""

import concurrent.futures
import difflib
import re

from guides import doctor, exercises, fleet, folders, live_view, options, pictures, saves
from harness.program import REPOSITORY

# Maps the name of each generated part to the function that generates the part. On the page, a comment with
# the name comes before the part.
PARTS = {
    "leaves that the screens read": saves.leaves_read,
    "what each save sets off": saves.overview,
    "saves": saves.saves,
    "a save of everything": saves.save_of_everything,
    "actions": saves.actions,
    "options": options.tokens,
    "groups of options": options.groups,
    "option leaves": options.leaves,
    "power quality": options.power_quality,
    "a whole run of the doctor": doctor.whole_run,
    "problems that the doctor finds": doctor.problems,
    "exercises": exercises.exercises,
    "fleet check": fleet.check,
    "fleet apply": fleet.apply,
}

# The pictures that pictures.toml does not describe.
FOLDERS = "folders"
OTHERS = {FOLDERS: folders.draw, fleet.PICTURE: fleet.draw, live_view.PICTURE: live_view.draw}

PART = re.compile(r"(<!-- made by docs/tools/write: ([^\n]*) -->\n)(.*?)(<!-- end -->\n)", re.S)


def pages():
    return [*sorted(REPOSITORY.glob("*.md")), *sorted((REPOSITORY / "docs").rglob("*.md"))]


def present(path):
    return path.read_text(encoding="utf-8") if path.exists() else None


def make_page(path):
    """Returns the text of the page after generating its parts again."""
    def part(match):
        text = PARTS[match[2]]()
        return f"{match[1]}\n{text}\n\n{match[4]}"

    return PART.sub(part, present(path))


def picture_names():
    return [*OTHERS, *pictures.table()]


def make_picture(name):
    return OTHERS[name]() if name in OTHERS else pictures.draw(name, pictures.table()[name])


def all_files():
    """Maps the path of every generated file to its text. The text is None if the file must not exist."""
    with concurrent.futures.ProcessPoolExecutor(8) as pool:
        files = {path: pool.submit(make_page, path) for path in pages()}
        files |= {pictures.path_of(name): pool.submit(make_picture, name) for name in picture_names()}
        files[options.FLEET] = pool.submit(options.for_fleet)
        made = {path: future.result() for path, future in files.items()}
    strays = set(pictures.FOLDER.glob("*.svg")) - set(made)
    return made | dict.fromkeys(strays)


def difference(path, wanted):
    name = str(path.relative_to(REPOSITORY))
    return difflib.unified_diff((present(path) or "").splitlines(), (wanted or "").splitlines(),
                                name, f"{name}, generated", lineterm="", n=1)
