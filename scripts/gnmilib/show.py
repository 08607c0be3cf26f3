"""How gnmi-client writes: colours on a terminal only, JSON with indentation, times of day."""

import datetime
import json
import os
import re
import sys

TOKEN = re.compile(r'("(?:[^"\\]|\\.)*")(\s*:)?|\b(true|false|null)\b|(-?\d[\d.eE+-]*)')


class Screen:
    """`when` is auto, always or never; auto also heeds NO_COLOR."""

    def __init__(self, when="auto"):
        self.coloured = when == "always" or (
            when == "auto" and sys.stdout.isatty() and not os.environ.get("NO_COLOR")
        )

    def _paint(self, code, text):
        return f"\033[{code}m{text}\033[0m" if self.coloured else text

    def bold(self, text):
        return self._paint("1", text)

    def dim(self, text):
        return self._paint("2", text)

    def name(self, text):
        return self._paint("32", text)

    def json(self, value, indent="  "):
        text = json.dumps(value, indent=2, ensure_ascii=False)
        if self.coloured:
            text = TOKEN.sub(self._token, text)
        return "\n".join(indent + line for line in text.split("\n"))

    def _token(self, found):
        string, colon, word, number = found.groups()
        if colon:
            return self._paint("34", string) + colon
        return self._paint("33", string) if string else self._paint("36", word or number)

    @staticmethod
    def time(nanoseconds):
        moment = datetime.datetime.fromtimestamp(nanoseconds / 1e9)
        return moment.strftime("%H:%M:%S.") + f"{moment.microsecond // 1000:03d}"


def refusal(error):
    """One line: the code by name and the server's text."""
    return f"{error.code().name}: {error.details()}"
