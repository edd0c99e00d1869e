"""The options of commands as docs/ describes them: tables with the header "| option | does |"."""

import re

HEADER = "| option | does |"
OPTION = re.compile(r"`(-[^`]*)`")
DEFAULT = re.compile(r"\(default: ([^)]*)\)")


class Row:
    """A line of a table: one option with all its names, or several options that are alike."""

    def __init__(self, cells):
        self.shapes = [shape.replace("\\|", "|") for shape in OPTION.findall(cells[0])]  # "--format text|json"
        self.names = [re.split(r"[ \[=]", shape)[0] for shape in self.shapes]
        self.text = cells[1]
        self.default = (DEFAULT.findall(self.text) or [""])[0].replace("`", "")


def rows_of(page, command):
    """For each command that has a table in the text of a page, its rows. A table belongs to the command that the last
    heading names, such as "velstat generate records", or else to `command`."""
    tables = {}
    current = command
    in_code = in_table = False
    for line in page.splitlines():
        if line.startswith("```"):
            in_code = not in_code
        if in_code:
            continue
        if line.startswith("#"):
            title = line.lstrip("# ").replace("`", "")
            current = title if title.startswith(command + " ") else command
        if line == HEADER:
            in_table = True
        elif not line.startswith("|"):
            in_table = False
        elif in_table and not line.startswith("|---"):
            tables.setdefault(current, []).append(Row(re.split(r"(?<!\\)\|", line)[1:-1]))
    return tables


def row_for(rows, option):
    """The row that describes an option of `velstat help --format json`, or None."""
    return next((row for row in rows if option["names"][-1] in row.names), None)


def shape_of(option):
    """An option and its value as docs/ and --help write them."""
    value = option.get("value", "")
    if option.get("value optional"):
        return f"{option['names'][-1]}[={value}]"
    return f"{option['names'][-1]} {value}".rstrip()
