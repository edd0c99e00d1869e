#!/usr/bin/env python3
"""Makes the manual pages: options from what `velstat help --format json` tells, prose from docs/, the C interface from its
header. Pages of one source tree are the same on every machine.

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
from option_tables import HEADER, row_for, rows_of, shape_of

HERE = pathlib.Path(__file__).parent
# Pages that are not of a command: the file in docs/, the section, and the line in NAME.
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
MADE_OF = ["docs", "man", "profile/include", "tools/velstat"]
# Sections that come last, in this order; those of docs/ come before them.
LAST = ["Exit status", "Environment", "Files", "Examples", "See also"]
# Sections of docs/ that are about the source.
LEFT_OUT = {"How it is built"}


def date_of(source):
    """The day of SOURCE_DATE_EPOCH, or of the last commit that changed what the pages are made of; empty without both."""
    epoch = os.environ.get("SOURCE_DATE_EPOCH") or subprocess.run(
        ["git", "-C", source, "log", "-1", "--format=%ct", "--", *MADE_OF], capture_output=True, text=True).stdout
    return datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc).strftime("%Y-%m-%d") if epoch else ""


def outside_code(text, change):
    """Applies `change` to what is not a block of code."""
    parts = re.split(r"(^```.*?^```$)", text, flags=re.M | re.S)
    return "".join(part if part.startswith("```") else change(part) for part in parts)


def minus(roff):
    return re.sub(r"(?<!\\)(?<!\\\[)-", r"\\-", roff)


class Pages:
    def __init__(self, velstat, source, version, out):
        self.docs, self.out, self.version, self.date = source / "docs", out, version, date_of(source)
        self.header = source / "profile/include/profile/velprofile.h"
        self.root = json.loads(subprocess.run([velstat, "help", "--format", "json"], check=True, capture_output=True).stdout)
        self.commands = [self.root, *self.root["subcommands"]]
        self.shared = rows_of((self.docs / "velstat.md").read_text(), "velstat")["velstat"]
        # docs/ file: page and section
        self.pages = {self.file_of(command): (self.page_of(command), 1) for command in self.commands}
        self.pages |= {file: (page, section) for page, (file, section, _) in OTHERS.items()}

    @staticmethod
    def page_of(command):
        return command["name"].replace(" ", "-")

    def file_of(self, command):
        return self.page_of(command) + ".md"

    def link(self, match):
        """A link in docs/ as text: another page's name, or the words of the link."""
        words, file = match[1], match[2].partition("#")[0]
        if file in self.pages:
            page, section = self.pages[file]
            reference = f"**{page}**({section})"
            self.references.add((page, section))
            return reference if words.strip("`") in (file, page.replace("-", " ")) else f"{words} ({reference})"
        return f"docs/{words}" if words == file else words

    def sections(self, text, command):
        """The introduction of a page of docs/ and its sections: {heading: text}."""
        text = re.sub(r"\A# .*\n", "", text)
        text = re.sub(rf"^{re.escape(HEADER)}\n(\|.*\n?)+", "", text, flags=re.M)
        text = outside_code(text, lambda part: re.sub(r"\[([^\]]*)\]\(([^)]*)\)", self.link, part))
        text = outside_code(text, lambda part: re.sub(r"^# ", "## ", part, flags=re.M))
        found, current = {"": []}, ""
        for part in re.split(r"(^```.*?^```$\n?)", text, flags=re.M | re.S):
            for piece in [part] if part.startswith("```") else re.split(r"^(## .*)\n", part, flags=re.M):
                if piece.startswith("## "):
                    current = piece[3:]
                    found[current] = []
                else:
                    found[current].append(piece)
        return {name: "".join(pieces).strip() + "\n" for name, pieces in found.items() if name not in LEFT_OUT}

    def options(self, command, rows):
        """A definition list, in the order of --help."""
        text, told, group = "", set(), "Options"
        groups = list(dict.fromkeys(option["group"] for option in command["options"]))
        for option in sorted(command["options"], key=lambda option: groups.index(option["group"])):
            if option["names"][-1] in told:
                continue
            if option["group"] != group:
                group = option["group"]
                text += f"### {group}\n\n"
            row = row_for(rows, option) or row_for(self.shared, option)
            alike = [each for each in command["options"] if row and each["names"][-1] in row.names] or [option]
            told |= {each["names"][-1] for each in alike}
            terms = ", ".join(re.sub(r"^([^ ]+)(?: (.+))?", lambda term: f"**{term[1]}**" + (f" *{term[2]}*" if term[2] else ""), name)
                              for each in alike for name in [*each["names"][:-1], shape_of(each)])
            about = outside_code(row.text, lambda part: re.sub(r"\[([^\]]*)\]\(([^)]*)\)", self.link, part)) if row else ""
            text += f"{terms}\n\n:   {(about or option['description']).strip()}\n\n"
        return text

    @staticmethod
    def synopsis(command):
        words = [f"\\fB{command['name']}\\fR", "[\\fIOPTION\\fR]..."]
        words += [f"\\fB{option['names'][0]}\\fR \\fI{option['value']}\\fR" for option in command["options"] if option["required"]]
        if command["subcommands"]:
            words.insert(1, "\\fISUBCOMMAND\\fR")
        for argument in command["arguments"]:
            word = f"\\fI{argument['value']}\\fR" + ("..." if argument["repeatable"] else "")
            words.append(word if argument["required"] else f"[{word}]")
        line = " ".join(words).replace("-", "\\-")
        return f"```{{=man}}\n.PP\n{line}\n```\n\n"

    def command_page(self, command):
        name = command["name"]
        file = self.docs / self.file_of(command)
        docs = file.read_text() if file.exists() else f"# {name}\n\n{command['description']}.\n"
        rows = rows_of(docs, name)
        sections = self.sections(docs, name)
        intro = sections.pop("")
        examples = re.search(r"^```sh\n.*?^```\n", intro, re.M | re.S)
        if examples:
            intro = intro.replace(examples[0], "")
            sections["Examples"] = examples[0]
        elif "Example" in command["notes"]:
            lines = re.search(r"Examples?:\n((?:  .*\n?)+)", command["notes"])[1]
            sections["Examples"] = f"```\n{re.sub('^  ', '', lines, flags=re.M).rstrip()}\n```\n"
        parts = command["subcommands"] if command is not self.root else []
        synopsis = "".join(self.synopsis(each) for each in parts or [command])
        body = f"## Synopsis\n\n{synopsis}\n## Description\n\n{intro}\n"
        if command is self.root:
            body += "## Commands\n\n" + "".join(f"**{self.page_of(each)}**(1)\n\n:   {each['description']}\n\n"
                                                  for each in command["subcommands"])
        body += f"## Options\n\n{self.options(command, rows.get(name, []))}"
        for part in parts:
            first, _, rest = sections.pop(part["name"], part["description"] + ".\n").partition("\n\n")
            own = {**part, "options": [each for each in part["options"] if each not in command["options"]]}
            body += f"## {part['name']}\n\n{first}\n\n{self.options(own, rows.get(part['name'], []) + rows.get(name, []))}{rest}\n"
        if command is self.root:
            self.references |= {(self.page_of(each), 1) for each in command["subcommands"]}
            self.references |= {(page, section) for page, (_, section, _) in OTHERS.items()}
        description = command["description"].rstrip(".")
        return self.page(self.page_of(command), 1, description[0].lower() + description[1:], body, sections)

    def other_page(self, page):
        file, section, description = OTHERS[page]
        sections = self.sections((self.docs / file).read_text(), None)
        intro = sections.pop("")
        if section == 3:
            body = f"## Synopsis\n\n{c_interface.synopsis(self.header.read_text())}\n"
            body += f"## Description\n\n{intro}\n{c_interface.sections(self.header.read_text())}\n"
        else:
            body = f"## Description\n\n{intro}\n"
        return self.page(page, section, description, body, sections)

    def page(self, page, section, description, body, sections):
        """The whole page as roff."""
        body += "".join(f"## {name}\n\n{text}\n" for name, text in sections.items() if name not in LAST)
        self.references = (self.references | {("velstat", 1)}) - {(page, section)}
        also = sorted(self.references, key=lambda each: (each[1], each[0]))
        sections["See also"] = ", ".join(f"**{name}**({number})" for name, number in also) + "\n"
        body += "".join(f"## {name}\n\n{sections[name]}\n" for name in LAST if name in sections)
        body = outside_code(body, lambda part: re.sub(r"^## .*$", lambda title: title[0].upper(), part, flags=re.M))
        names = [page, *(c_interface.functions(self.header.read_text()) if section == 3 else [])]
        body = f"## NAME\n\n{', '.join(names)} - {description}\n\n{body}"
        return (f'.TH "{page.upper()}" "{section}" "{self.date}" "velstat {self.version}" "{self.manual(section)}"\n.ad l\n.nh\n'
                + self.roff(body))

    @staticmethod
    def manual(section):
        return {1: "Commands", 3: "C interface", 5: "File formats", 7: "Overview"}[section]

    @staticmethod
    def roff(markdown):
        roff = subprocess.run(["pandoc", "--from=gfm+definition_lists+raw_attribute", "--to=man", "--shift-heading-level-by=-1",
                               f"--lua-filter={HERE}/pandoc.lua"],
                              input=markdown, stdout=subprocess.PIPE, text=True, check=True).stdout
        # Blocks of code are in the terminal's only font. A hyphen of code is a minus, which can be copied and ends no line.
        roff = re.sub(r"^\.nf\n\\f\[C\]\n(.*?)\\f\[R\]\n\.fi$", lambda code: f".nf\n{minus(code[1])}.fi", roff,
                      flags=re.M | re.S)
        roff = re.sub(r"\\f\[B\].*?\\f\[R\]", lambda code: minus(code[0]), roff, flags=re.S)
        # A list that is longer than a line ends it after a comma.
        roff = re.sub(r"[^ \n]{70,}", lambda word: word[0].replace(",", r",\:"), roff)
        # A heading begins a paragraph.
        return re.sub(r"^(\.S[HS] .*\n)\.PP\n", r"\1", roff, flags=re.M)

    def write(self):
        jobs = [(self.page_of(command), 1, self.command_page, command) for command in self.commands]
        jobs += [(page, section, self.other_page, page) for page, (_, section, _) in OTHERS.items()]
        for section in {job[1] for job in jobs}:
            shutil.rmtree(self.out / f"man{section}", ignore_errors=True)
            (self.out / f"man{section}").mkdir(parents=True)
        for page, section, make, argument in jobs:
            self.references = set()
            (self.out / f"man{section}" / f"{page}.{section}").write_text(make(argument))
        for function in c_interface.functions(self.header.read_text()):
            (self.out / f"man3/{function}.3").write_text(".so man3/libvelprofile.3\n")


def main():
    velstat, source, version, out = sys.argv[1:]
    Pages(pathlib.Path(velstat).resolve(), pathlib.Path(source), version, pathlib.Path(out)).write()


if __name__ == "__main__":
    main()
