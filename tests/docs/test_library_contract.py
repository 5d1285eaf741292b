"""The tables in docs/integrator.md name exactly the operations of the client library and the names in
store/client_library.h."""

import re

from harness.program import REPOSITORY

GUIDE = (REPOSITORY / "docs" / "integrator.md").read_text(encoding="utf-8")
HEADERS = "".join((REPOSITORY / "simulator" / "include" / name).read_text(encoding="utf-8")
                  for name in ("cds.h", "cds++.h"))
CLIENT_LIBRARY = (REPOSITORY / "store" / "client_library.h").read_text(encoding="utf-8")


def rows_below(head):
    """Returns the cells of each row in the table whose first line is `head`."""
    table = GUIDE.split(head + "\n")[1].split("\n\n")[0].splitlines()[1:]
    return [[cell.strip() for cell in line.strip("|").split(" | ")] for line in table]


def names_in(cells):
    return [name for cell in cells for name in re.findall(r"`([^`]+)`", cell)]


def declared():
    """Returns the names of the functions, constructors and static members that the headers declare."""
    code = re.sub(r"//.*", "", HEADERS)
    names = set(re.findall(r"(\w+|operator=)\s*\([^()]*\)(?: const)?;", code))
    names |= set(re.findall(r"static (?:const )?[\w:]+ (\w+);", code))
    return names | set(re.findall(r"class (\w+)\n\{(?:(?!\n\};).)*pcd_connection\*", code, re.DOTALL))


def test_the_headers_are_read():
    assert {"pcd_init", "set_leaf", "operator=", "CElement", "CCds", "_auto_time"} <= declared()


def test_each_operation_of_the_library_has_one_row():
    rows = rows_below("| operation | arguments | what the utility relies on |")
    assert sorted(names_in(row[0] for row in rows)) == sorted(declared())
    assert [row for row in rows if len(row) != 3 or not all(row)] == []


def test_each_name_of_the_adapted_header_has_its_row_and_value():
    rows = {names_in(row[:1])[0]: row[1] for row in rows_below("| name | value | meaning |")}
    values = dict(re.findall(r"^constexpr \w+ (\w+) = (\d+);", CLIENT_LIBRARY, re.MULTILINE))
    functions = re.findall(r"^(?:inline auto|toolkit::CElement) (\w+)\(", CLIENT_LIBRARY, re.MULTILINE)
    assert len(values) == 5 and len(functions) == 2
    assert rows == values | dict.fromkeys(functions, "function")
