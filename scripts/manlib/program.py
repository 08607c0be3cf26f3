"""What a program can be told, as `PROGRAM --manual` prints it."""

import json
import re

CHOICES = re.compile(r"[a-z]+(?:\|[a-z]+)+")


class Option:
    def __init__(self, told):
        self.names = told["names"]
        self.value = told["value"]
        self.default = told["default"]
        self.help = told["help"]
        self.group = told["group"]
        self.positional = told["positional"]
        self.required = told["required"]
        self.many = told["many"]

    @property
    def name(self):
        """The name in full: the first with two dashes, or the only one."""
        return next((name for name in self.names if name.startswith("--")), self.names[0])

    @property
    def choices(self):
        """The values that there are; empty where it takes others."""
        return self.value.split("|") if CHOICES.fullmatch(self.value) else []


class Command:
    def __init__(self, told):
        self.name = told["name"]
        self.version = told["version"]
        self.footer = told["footer"]
        self.summary, _, self.about = (part.strip() for part in told["about"].partition("\n\n"))
        self.options = [Option(option) for option in told["options"]]
        self.commands = [Command(command) for command in told["commands"]]

    @property
    def flags(self):
        return [option for option in self.options if not option.positional]

    @property
    def positionals(self):
        return [option for option in self.options if option.positional]

    @property
    def groups(self):
        """{heading: its flags}, in the order of the help."""
        found = {}
        for option in self.flags:
            found.setdefault(option.group, []).append(option)
        return found


def read(path):
    with open(path, encoding="utf-8") as file:
        return Command(json.load(file))
