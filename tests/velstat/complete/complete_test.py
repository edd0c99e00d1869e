"""What the Tab key offers in bash, zsh and fish, each of them running with a terminal.

usage: complete_test.py SCRIPTS RULES"""

import json
import os
import sys
import tempfile
import unittest
from pathlib import Path

import pexpect

from command import ENVIRONMENT, VELSTAT, run

SCRIPTS, RULES = (Path(sys.argv.pop(1)).resolve() for _ in range(2))

# What is typed before Tab, and what the shell makes of the line.
COMPLETED = (
    ("velstat dec", "velstat decode "),
    ("velstat decode --fo", "velstat decode --format "),
    ("velstat decode --format j", "velstat decode --format json "),
    ("velstat decode --format=j", "velstat decode --format=json "),
    ("velstat decode --category z", "velstat decode --category zorb "),
    ("velstat decode --category=z", "velstat decode --category=zorb "),
    ("velstat decode --category=zorb --category u", "velstat decode --category=zorb --category uart "),
    ("velstat decode --component hal", "velstat decode --component halden "),
    ("velstat decode --event ampturnof", "velstat decode --event AmpTurnOff "),  # in any case
    ("velstat decode --type dec", "velstat decode --type decimationinfo "),
    ("velstat decode --layout zorb-ev", "velstat decode --layout zorb-event "),
    ("velstat decode --fields calendar", "velstat decode --fields calendar-time "),
    ("velstat decode --fields timestamp,cal", "velstat decode --fields timestamp,calendar-time "),
    ("velstat decode --fields=type,seq", "velstat decode --fields=type,sequence_num "),
    ("velstat decode --stats=j", "velstat decode --stats=json "),
    ("velstat decode --stats --lim", "velstat decode --stats --limit "),  # takes no next word
    ("velstat tally --key com.tavik.kip.button.tri", "velstat tally --key com.tavik.kip.button.triple_click.count "),
    ("velstat triage --rule stuck-b", "velstat triage --rule stuck-button "),
    ("velstat triage --fail-on=w", "velstat triage --fail-on=warning "),
    ("velstat capture --model act", "velstat capture --model actuator-timeout "),
    ("velstat capture --model rec", "velstat capture --model records.bin "),  # a file, too
    ("velstat generate r", "velstat generate records "),
    ("velstat generate records --se", "velstat generate records --seed "),
    ("velstat fleet sch", "velstat fleet schema "),
    ("velstat fleet load --format=j", "velstat fleet load --format=json "),
    ("velstat show rec", "velstat show records.bin "),
    ("velstat diff records.bin rec", "velstat diff records.bin records.bin "),
    ("velstat help dec", "velstat help decode "),
    ("velstat help generate r", "velstat help generate records "),
    ("velstat decode rec", "velstat decode records.bin "),
    ("velstat trace records.bin -o rec", "velstat trace records.bin -o records.bin "),
    ("velstat trace records.bin --output=rec", "velstat trace records.bin --output=records.bin "),
    ("velstat decode -- rec", "velstat decode -- records.bin "),
    ("velstat decode my\\ dir/a", "velstat decode my\\ dir/a\\ b.bin "),  # blanks in a path
    ("velstat decode --since 1 rec", "velstat decode --since 1 records.bin "),
    ("velstat capture --out my", "velstat capture --out my\\ dir/"),
    # nothing to offer
    ("velstat capture --out rec", "velstat capture --out rec"),  # a file, where a folder is meant
    ("velstat decode --limit r", "velstat decode --limit r"),
    ("velstat decode --nonsense=r", "velstat decode --nonsense=r"),
    ("velstat decode --delta --delt", "velstat decode --delta --delt"),  # may not be repeated
    ("velstat decode --framed --esc", "velstat decode --framed --esc"),  # exclude each other
    ("velstat decode -- --fo", "velstat decode -- --fo"),
    ("velstat help decode c", "velstat help decode c"),
    ("velstat tally records.bin r", "velstat tally records.bin r"),  # takes one file
)


# One of the candidates for an ambiguous word, from where it goes on, and its description.
OFFERED = (
    ("velstat trace --", "no-findings", "Do not look for what velstat triage finds"),
    ("velstat triage --rule stuck-", "finger-timer", "The firmware suspected a stuck finger"),
    ("velstat c", "apture", None),
    ("velstat decode --category s", "ensors", None),
)


class Shell:
    """A shell at its prompt in `folder`, with the command and its completion. Ctrl-G shows the line and empties it."""

    def __init__(self, folder, command, setup, environment, tabs=1):
        self.tabs = tabs  # that make it list several candidates
        self.process = pexpect.spawn(command[0], command[1:], cwd=folder, encoding="utf-8", timeout=60,
                                     dimensions=(50, 200), env={**ENVIRONMENT, "TERM": "dumb", **environment})
        self.process.delaybeforesend = None
        for line in [*setup, "echo rea''dy"]:
            self.process.sendline(line)
        self.process.expect_exact("ready\r\n")

    def completed(self, typed):
        """The line after Tab."""
        self.process.send(typed + "\t\x07")
        self.process.expect("<<(.*?)>>")
        return self.process.match[1]

    def offers(self, typed, texts):
        """Waits for these texts after Tab."""
        self.process.send(typed + "\t" * self.tabs)
        for text in texts:
            self.process.expect_exact(text)
        self.process.send("\x07")
        self.process.expect("<<(.*?)>>")


class Completion:
    """The cases, for each shell that sets `shell` and `describes`."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        place = Path(folder.name)
        (place / "records.bin").touch()
        (place / "my dir").mkdir()
        (place / "my dir/a b.bin").touch()
        cls.shell = cls.start(place, {"PATH": f"{Path(VELSTAT).parent}:{os.environ['PATH']}", "HOME": folder.name})
        cls.addClassCleanup(cls.shell.process.close, True)

    def test_one_candidate_is_completed(self):
        for typed, line in COMPLETED:
            with self.subTest(typed):
                self.assertEqual(self.shell.completed(typed), line)

    def test_several_candidates_are_shown(self):
        for typed, name, description in OFFERED:
            with self.subTest(typed):
                self.shell.offers(typed, [name, description] if description and self.describes else [name])


class Bash(Completion, unittest.TestCase):
    describes = False

    @staticmethod
    def start(folder, environment):
        return Shell(folder, ["bash", "--norc", "--noprofile"],
                     ["bind 'set enable-bracketed-paste off'",
                      "show() { printf '\\n<<%s>>\\n' \"$READLINE_LINE\"; READLINE_LINE=; }",
                      "bind -x '\"\\C-g\": show'",
                      ". /usr/share/bash-completion/bash_completion",
                      f". '{SCRIPTS}/velstat.bash'"], environment, tabs=2)


class Zsh(Completion, unittest.TestCase):
    describes = True

    @staticmethod
    def start(folder, environment):
        return Shell(folder, ["zsh", "-f"],
                     ["unset zle_bracketed_paste; unsetopt beep",
                      f"fpath=('{SCRIPTS}' $fpath); autoload -Uz compinit && compinit -u -D",
                      "show() { print; print -r -- \"<<$BUFFER>>\"; BUFFER= }",
                      "zle -N show; bindkey '^G' show"], environment)


class Fish(Completion, unittest.TestCase):
    describes = True

    @staticmethod
    def start(folder, environment):
        return Shell(folder, ["fish", "--no-config"],
                     [f". '{SCRIPTS}/velstat.fish'",
                      "bind \\cg 'printf \"\\n<<%s>>\\n\" (commandline); commandline \"\"'"],
                     {**environment, "TERM": "xterm", "XDG_DATA_HOME": str(folder), "XDG_CONFIG_HOME": str(folder)})


def offered(*words):
    status, answer, errors = run("__complete", *words)
    assert (status, errors) == (0, ""), (words, status, errors)
    return [line.partition("\t")[0] for line in answer.splitlines()[1:]]


class Names(unittest.TestCase):
    def test_every_name_that_is_offered_is_taken(self):
        for option in ("--category", "--component", "--event", "--type", "--layout", "--fields"):
            names = offered("decode", option, "")
            self.assertGreater(len(names), 5, option)
            self.assertEqual(len(names), len(set(names)), option)
            chosen = [f"--fields={','.join(names)}"] if option == "--fields" else [f"{option}={name}" for name in names]
            self.assertEqual(run("decode", "--format", "json", *chosen), (0, "", ""), option)
        models = offered("capture", "--model", "")
        self.assertIn("actuator-timeout", models)
        for model in models:
            self.assertEqual(run("capture", "--model", model)[0], 0, model)

    def test_every_rule_and_metric_is_offered(self):
        self.assertEqual(sorted(offered("triage", "--rule", "")), sorted(path.stem for path in RULES.glob("*.sql")))
        self.assertEqual(len(offered("tally", "--key", "")), 48)

    def test_every_subcommand_and_option_is_offered(self):
        def check(command):
            words = command["name"].split()[1:]
            if command["subcommands"]:
                self.assertEqual(offered(*words, ""), [each["name"].split()[-1] for each in command["subcommands"]])
            self.assertEqual(offered(*words, "--"), [option["names"][-1] for option in command["options"]], words)
            for option in command["options"]:
                if "choices" in option:
                    self.assertEqual(offered(*words, option["names"][-1] + "="), option["choices"])
            for each in command["subcommands"]:
                check(each)
        check(json.loads(run("help", "--format", "json")[1]))


if __name__ == "__main__":
    unittest.main()
