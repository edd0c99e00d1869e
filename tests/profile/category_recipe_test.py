#!/usr/bin/env python3
"""Follows the recipe for a new profile category (docs/recipes.md) in a copy of the decoder.

usage: category_recipe_test.py COMPILER PROFILE_FOLDER
The category has two components, three events and a layout of its own. With every place of the recipe the copy compiles
and shows the names and fields. With a place left out, or a mistake in the row, it does not compile."""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

COMPILER, PROFILE = sys.argv[1], pathlib.Path(sys.argv[2])

# Place: the file, the text before which it is inserted (its last occurrence), and what is inserted.
PLACES = {
    "the id": ("include/profile/category.h", ", count };", ", thermal"),
    "the layout": ("src/layouts.h", "\n};\n\ninline constexpr auto all",
                   '\n    {"thermal-sample", {fixed_point("degrees", 16), u16("sensor", 20), text("place", 24, 12, 16)}},'),
    "the row": ("src/categories.h", '\n};\n\nstatic_assert(std::size(category_table)', """
    {.id = category_id::thermal,
     .name = "thermal",
     .components = {{0, "zone"}, {1, "fan"}},
     .events = {{.components = {0}, .names = {{0, "sample"}, {1, "limit"}}},
                {.components = {1}, .names = {{0, "speed"}}}},
     .subtypes = {},
     .layouts = {{.when = {type_is("trigger"), event_is(0)}, .layouts = layouts_named("thermal-sample", "trigger")}}},"""),
}

# Mistakes in the row: what is replaced, by what, and the source that does not compile then.
MISTAKES = {
    "no components": (r"\n\s*\.components = \{\{0, \"zone\"\}, \{1, \"fan\"\}\},", "", "layout"),
    "no events": (r"\n\s*\.events = .*?\}\}\}\},(?=\n\s*\.subtypes)", "", "layout"),
    "no subtypes": (r"\n\s*\.subtypes = \{\},", "", "layout"),
    "no layouts": (r",\n\s*\.layouts = .*(?=\},)", "", "layout"),
    "a layout that no rule shows": (r"(?<=\.layouts = \{)\{\.when.*(?=\}\},)", "", "layout"),
    "a layout that does not exist": (r"thermal-sample", "thermal-simple", "layout"),
    "a datatype that does not exist": (r'type_is\("trigger"\)', 'type_is("trigger1")', "layout"),
    "another row's id": (r"\.id = category_id::thermal", ".id = category_id::scm", "names"),
    "a name too long for its piece": (r'"zone"', '"zone-with-a-long-name"', "engine"),
    "a name that needs quotes in CSV": (r'"zone"', '"zone,"', "engine"),
    "an id that no byte holds": (r'\{1, "fan"\}', '{256, "fan"}', "engine"),
}

PROGRAM = r"""
#include "profile/KIPLogDecoder.h"
#include "profile/fields.h"

#include <cstdio>

bool profile_decoder::vel_time_to_wall_time(unsigned long long, std::string&) { return false; }
bool profile_decoder::get_boot_time(unsigned long long&) { return false; }

int main() {
  const _VelProfileReport records[] = {
      {4, 0, 0, 10, 1, 2, {0, 0x80, 1, 0, 7, 0, 0, 0, 'r', 'e', 'a', 'r'}}, {0, 1, 0, 10, 1, 2, {}}, {0, 0, 1, 10, 1, 2, {}},
      {3, 0, 9, 10, 1, 2, {}}};
  for (const _VelProfileReport& record : records) {
    std::puts(KIPLogDecoder::to_string(record).c_str());
    if (KIPLogDecoder::to_string(record) != KIPLogDecoder::_decoders[10]->to_string(record)) {
      std::puts("to_string differs");
    }
    vel::profile::FieldCursor cursor(&record);
    for (vel::profile::Field field; cursor.next(field);) {
      std::printf("%s/%s ", field.layout->name.data(), field.row->key.data());
    }
    std::puts("");
  }
}
"""

EXPECTED = [
    "'category':'thermal', 'component':  'zone', 'event':    'sample', 'type':   'trigger', 'timestamp':         2,"
    " 'sequence_num':         1, 'degrees':       1.5, 'sensor':         7, 'place':          'rear', 'trigger':1,"
    " 'thread-id':         7, 'arg':         7, 'type-id':4, 'category-id':10,",
    "thermal-sample/degrees thermal-sample/sensor thermal-sample/place trigger/trigger trigger/thread-id trigger/arg",
    "'category':'thermal', 'component':  'zone', 'event':     'limit',",
    "'category':'thermal', 'component':   'fan', 'event':     'speed',",
    "'category':'thermal', 'component':     '9', 'event':         '0', 'type':     'event',",
]


def follow(folder, without=None, mistake=None):
    """A copy of the decoder with every place but one, or with a mistake in the row."""
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(PROFILE, folder)
    for place, (name, before, inserted) in PLACES.items():
        if place == without:
            continue
        if place == "the row" and mistake:
            right, wrong, _ = MISTAKES[mistake]
            inserted, count = re.subn(right, wrong, inserted, flags=re.S)
            assert count == 1, f"the row has no {right}"
        path = folder / name
        text = path.read_text()
        at = text.rfind(before)
        assert at >= 0, f"{name} has no {before!r}"
        path.write_text(text[:at] + inserted + text[at:])


def compile_copy(folder, *arguments):
    return subprocess.run(
        [COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Werror", f"-I{folder}/include", f"-I{folder}/src", *arguments],
        capture_output=True, text=True)


def expect_refusal(folder, what, sources):
    built = compile_copy(folder, "-fsyntax-only", *(f"{folder}/src/{source}.cpp" for source in sources))
    assert built.returncode != 0, f"it compiles with {what}"
    error = next(line for line in built.stderr.splitlines() if "error:" in line)
    print(f"{what}: {error.partition('error: ')[2]}")


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name) / "profile"
        follow(folder)
        program = pathlib.Path(name) / "program.cpp"  # all sources as one: much faster
        program.write_text("".join(f'#include "{path}"\n' for pattern in ("*.cpp", "decoders/*.cpp")
                                   for path in sorted((folder / "src").glob(pattern))) + PROGRAM)
        built = compile_copy(folder, str(program), "-o", name + "/program")
        assert built.returncode == 0, f"the whole recipe does not compile:\n{built.stderr}"
        shown = subprocess.run([name + "/program"], check=True, capture_output=True, text=True).stdout
        for text in EXPECTED:
            assert text in shown, f"{text}\nis not in\n{shown}"
        assert "differs" not in shown, shown

        for place in PLACES:
            follow(folder, without=place)
            expect_refusal(folder, f"{place} left out", ["layout"])
        for mistake, (_, _, source) in MISTAKES.items():
            follow(folder, mistake=mistake)
            expect_refusal(folder, mistake, [source])
    print(f"{len(PLACES)} places in {len({name for name, *_ in PLACES.values()})} files")


main()
