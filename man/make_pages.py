#!/usr/bin/env python3
"""Makes the manual pages: options from `velstat help --format json`, prose from docs/, the C interface from its
header. The pages made from one source tree are the same on every machine.

usage: make_pages.py VELSTAT SOURCE VERSION OUT"""

import datetime
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

import c_interface
import roff
from docs_page import outside_code, parts_of, with_links, without_examples
from option_tables import row_for, rows_of, shape_of

# Pages that are not about a command: the file in docs/, the section, and the line in NAME.
OTHERS = {
    "velstat-capture-folder": ("capture-folder.md", 5, "the folder of a capture"),
    "velstat-device-model": ("device-model.md", 5, "models of devices, for velstat capture"),
    "velstat-record-format": ("record-format.md", 5, "profile records and their text"),
    "velstat-tally-store": ("tally-store.md", 5, "the store of analytics"),
    "velstat-json": ("json.md", 5, "the JSON that velstat writes"),
    "velstat-sources": ("sources.md", 7, "what velstat reads, and in which order"),
    "velstat-tutorial": ("tutorial.md", 7, "from a dead button to its cause"),
    "libvelprofile": ("decoder-c-interface.md", 3, "text, fields and names of profile records"),
}
MANUALS = {1: "Commands", 3: "C interface", 5: "File formats", 7: "Overview"}
MADE_OF = ["docs", "man", "profile/include", "tools/velstat"]
# Sections that come last, in this order; other sections of docs/ come before them.
LAST = ["Exit status", "Environment", "Files", "Examples", "See also"]
# Sections of docs/ that are about the source code, and are left out.
LEFT_OUT = {"How it is built"}


def date_of(source):
    """The day of SOURCE_DATE_EPOCH, or of the last commit to the pages' sources; empty if there is neither."""
    epoch = os.environ.get("SOURCE_DATE_EPOCH") or subprocess.run(
        ["git", "-C", source, "log", "-1", "--format=%ct", "--", *MADE_OF], capture_output=True, text=True).stdout
    return datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc).strftime("%Y-%m-%d") if epoch else ""


def page_of(command):
    return command["name"].replace(" ", "-")


def synopsis(command):
    words = [roff.bold(command["name"]), f"[{roff.italic('OPTION')}]..."]
    if command["subcommands"]:
        words.insert(1, roff.italic("SUBCOMMAND"))
    for option in command["options"]:
        if option["required"]:
            words.append(f"{roff.bold(option['names'][0])} {roff.italic(option['value'])}")
    for argument in command["arguments"]:
        word = roff.italic(argument["value"]) + ("..." if argument["repeatable"] else "")
        words.append(word if argument["required"] else f"[{word}]")
    return roff.raw_line(" ".join(words))


def term(option):
    """ "**-o**, **--output** *FILE*" """
    name, _, value = shape_of(option).partition(" ")
    names = ", ".join(f"**{each}**" for each in [*option["names"][:-1], name])
    return names + (f" *{value}*" if value else "")


def definitions(pairs):
    return "".join(f"{name}\n\n:   {about}\n\n" for name, about in pairs)


def options_text(options, rows):
    """The options as a list, in the order of --help, described as in docs/ if they are described there."""
    text, told = "", set()
    for group in dict.fromkeys(option["group"] for option in options):
        if group != "Options":
            text += f"### {group}\n\n"
        for option in options:
            if option["group"] != group or option["names"][-1] in told:
                continue
            row = row_for(rows, option)
            alike = [each for each in options if row and each["names"][-1] in row.names] or [option]
            told |= {each["names"][-1] for each in alike}
            text += definitions([(", ".join(map(term, alike)), row.text.strip() if row else option["description"])])
    return text


class Page:
    """A page that is being made: its links become references to other pages."""

    def __init__(self, name, section, description, pages):
        self.name, self.section, self.description, self.pages = name, section, description, pages
        self.references = {("velstat", 1)}

    def link(self, words, target):
        """What replaces a link: a reference to another page, or the words of the link."""
        file = target.partition("#")[0]
        if file not in self.pages:
            return f"docs/{words}" if words == file else words
        name, section = self.pages[file]
        self.references.add((name, section))
        reference = f"**{name}**({section})"
        return reference if words.strip("`") in (file, name.replace("-", " ")) else f"{words} ({reference})"

    def text(self, body, sections, date, version):
        """The whole page: `body`, and the sections after it."""
        sections = {title: text for title, text in sections.items() if title not in LEFT_OUT}
        body += "".join(f"## {title}\n\n{text}\n" for title, text in sections.items() if title not in LAST)
        last = "".join(f"## {title}\n\n{sections[title]}\n" for title in LAST if title in sections)
        body, last = (with_links(each, self.link) for each in (body, last))
        others = sorted(self.references - {(self.name, self.section)}, key=lambda each: (each[1], each[0]))
        last += "## See also\n\n" + ", ".join(f"**{name}**({section})" for name, section in others) + "\n"
        text = f"## Name\n\n{self.description}\n\n{body}{last}"
        text = outside_code(text, lambda part: re.sub(r"^## .*$", lambda title: title[0].upper(), part, flags=re.M))
        head = f'.TH "{self.name.upper()}" "{self.section}" "{date}" "velstat {version}" "{MANUALS[self.section]}"'
        return f"{head}\n.ad l\n.nh\n{roff.from_markdown(text)}"


class Pages:
    def __init__(self, velstat, source, version):
        self.docs, self.version, self.date = source / "docs", version, date_of(source)
        self.header = (source / "profile/include/profile/velprofile.h").read_text()
        self.root = json.loads(subprocess.run([velstat, "help", "--format", "json"], check=True,
                                              stdout=subprocess.PIPE).stdout)
        self.commands = [self.root, *self.root["subcommands"]]
        self.shared = rows_of((self.docs / "velstat.md").read_text(), "velstat")["velstat"]
        self.pages = {f"{page_of(command)}.md": (page_of(command), 1) for command in self.commands}
        self.pages |= {file: (name, section) for name, (file, section, _) in OTHERS.items()}

    def of_command(self, command):
        name = command["name"]
        file = self.docs / f"{page_of(command)}.md"
        docs = file.read_text() if file.exists() else f"# {name}\n\n{command['description']}.\n"
        tables = rows_of(docs, name)
        rows = tables.get(name, []) + self.shared
        introduction, sections = parts_of(docs)
        introduction, examples = without_examples(introduction)
        if found := re.search(r"Examples?:\n((?:  .*\n?)+)", command["notes"]):
            lines = re.sub("^  ", "", found[1], flags=re.M).rstrip()
            examples = examples or f"```\n{lines}\n```\n"
        sections["Examples"] = examples

        is_root = command is self.root
        parts = [] if is_root else command["subcommands"]
        body = "## Synopsis\n\n" + "".join(map(synopsis, parts or [command])) + f"## Description\n\n{introduction}\n"
        if is_root:
            body += "## Commands\n\n" + definitions((f"**{page_of(each)}**(1)", each["description"])
                                                    for each in command["subcommands"])
        body += f"## Options\n\n{options_text(command['options'], rows)}"
        for part in parts:
            first, _, rest = sections.pop(part["name"], part["description"] + ".\n").partition("\n\n")
            own = [option for option in part["options"] if option not in command["options"]]
            body += f"## {part['name']}\n\n{first}\n\n"
            body += options_text(own, tables.get(part["name"], []) + rows) + rest + "\n"

        about = command["description"].rstrip(".")
        page = Page(page_of(command), 1, f"{page_of(command)} - {about[0].lower()}{about[1:]}", self.pages)
        if is_root:
            page.references |= set(self.pages.values())
        return page.text(body, sections, self.date, self.version)

    def of_other(self, name):
        file, section, about = OTHERS[name]
        introduction, sections = parts_of((self.docs / file).read_text())
        body = f"## Description\n\n{introduction}\n"
        names = [name]
        if section == 3:
            body = f"## Synopsis\n\n{c_interface.synopsis(self.header)}\n{body}{c_interface.sections(self.header)}\n"
            names += c_interface.functions(self.header)
        return Page(name, section, f"{', '.join(names)} - {about}", self.pages).text(body, sections, self.date,
                                                                                   self.version)

    def write(self, out):
        for section in MANUALS:
            shutil.rmtree(out / f"man{section}", ignore_errors=True)
            (out / f"man{section}").mkdir(parents=True)
        for command in self.commands:
            (out / f"man1/{page_of(command)}.1").write_text(self.of_command(command))
        for name, (_, section, _) in OTHERS.items():
            (out / f"man{section}/{name}.{section}").write_text(self.of_other(name))
        for function in c_interface.functions(self.header):
            (out / f"man3/{function}.3").write_text(".so man3/libvelprofile.3\n")


def main():
    velstat, source, version, out = sys.argv[1:]
    Pages(pathlib.Path(velstat).resolve(), pathlib.Path(source), version).write(pathlib.Path(out))


if __name__ == "__main__":
    main()
