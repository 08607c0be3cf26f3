"""Manual pages: Markdown as the documents of this tree use it, to man(7).

A page begins with a comment that says what it is:

    <!-- man NAME SECTION: one line about it -->

Headings, paragraphs, lists, tables, indented and fenced code, `code`, *emphasis* and links are known.
A table becomes a list of tagged paragraphs: the first cell is the tag. A line "@options@" stands for
the options of the program, "@commands@" for its commands with theirs.
"""

import re
import textwrap
import time

PAGE = re.compile(r"<!-- man (\S+) (\d): (.*) -->")
LINK = re.compile(r"\[([^\]]*)\]\(([^)]*)\)")
SPAN = re.compile(r"`([^`]+)`|\*\*([^*]+)\*\*|\*([^*\s][^*]*)\*|<([a-z]+://[^>]+)>")
CELL = re.compile(r"(?<!\\)\|")


def escaped(text):
    """Plain text of roff: no escape, no dash that a terminal shows as another character."""
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq")
    return text.replace("^", "\\(ha").replace("~", "\\(ti").replace("`", "\\(ga")


def line_of(text):
    """A line of text: what roff would take for a request at its beginning is none."""
    return "\\&" + text if text[:1] in (".", "'") else text


def spans(text):
    """Code and strong words bold, emphasis italic, links by their text."""
    text = LINK.sub(lambda link: link[1].strip("`") if link[2].endswith(".md") else link[1], text)
    parts = []
    at = 0
    for found in SPAN.finditer(text):
        parts.append(escaped(text[at : found.start()]))
        bold = found[1] or found[2]
        plain = escaped((bold or found[3] or found[4]).replace("\\|", "|"))
        parts.append(plain if found[4] else f"\\f{'B' if bold else 'I'}{plain}\\fR")
        at = found.end()
    parts.append(escaped(text[at:]))
    return "".join(parts)


def filled(text):
    """Text that is filled, in lines of a length that people and tools take."""
    lines = textwrap.wrap(text, 78, break_long_words=False, break_on_hyphens=False)
    return [line_of(line) for line in lines]


def code(lines):
    """Lines as they stand, indented."""
    return [".IP", ".nf", *(line_of(escaped(line)) for line in lines), ".fi"]


def tagged(tag, text):
    return [".TP", line_of(tag), *filled(text)]


class Page:
    """Renders one page; `program` is what "@options@" and "@commands@" stand for."""

    def __init__(self, program=None):
        self._program = program
        self._lines = []
        self._fresh = True  # the next paragraph follows a heading

    def render(self, markdown, version, epoch):
        head, _, body = markdown.partition("\n")
        told = PAGE.match(head)
        if not told:
            raise ValueError("the page does not say which manual page it is")
        name, section, about = told.groups()
        date = time.strftime("%Y-%m-%d", time.gmtime(epoch))
        self._add(
            f'.TH {name.upper()} {section} "{date}" "{version}" "User manual"',
            ".nh",
            ".ad l",
            ".SH NAME",
            f"{name} \\- {escaped(about)}",
        )
        self._body(body.splitlines())
        return "\n".join(self._lines) + "\n"

    def _add(self, *lines):
        self._lines += lines

    def _body(self, lines):
        at = 0
        while at < len(lines):
            end = at + 1
            if not lines[at].strip():
                at = end
                continue
            kind = self._kind(lines[at])
            if kind == "fence":
                while not lines[end].startswith("```"):
                    end += 1
                self._code(lines[at + 1 : end])
                end += 1
            else:
                while end < len(lines) and self._goes_on(kind, lines[end]):
                    end += 1
                getattr(self, "_" + kind)(lines[at:end])
            at = end

    @staticmethod
    def _kind(line):
        if line.startswith("```"):
            return "fence"
        if line.startswith("#"):
            return "heading"
        if line.startswith("|"):
            return "table"
        if line.startswith("    "):
            return "code"
        if line.startswith("- "):
            return "list"
        return "placeholder" if re.fullmatch(r"@\w+@", line) else "paragraph"

    @classmethod
    def _goes_on(cls, kind, line):
        if kind == "code":
            return not line or line.startswith("    ")
        if kind == "list":
            return bool(line) and (line.startswith(("- ", "  ")))
        return kind not in ("heading", "placeholder") and cls._kind(line) == kind and bool(line)

    def _heading(self, lines):
        level, _, text = lines[0].partition(" ")
        self._fresh = True
        if level == "#":  # the document's own title: the page has NAME
            self._add(".SH DESCRIPTION")
        elif level == "##":
            self._add(".SH " + escaped(text.upper()))
        else:
            self._add(".SS " + escaped(text))

    def _paragraph(self, lines):
        text = spans(" ".join(line.strip() for line in lines))
        self._add(*([] if self._fresh else [".PP"]), *filled(text))
        self._fresh = False

    def _code(self, lines):
        while lines and not lines[-1]:
            lines = lines[:-1]
        self._add(*code([line.removeprefix("    ") for line in lines]))
        self._fresh = False

    def _list(self, lines):
        items = []
        for line in lines:
            if line.startswith("- "):
                items.append(line[2:])
            else:
                items[-1] += " " + line.strip()
        for item in items:
            self._add(".IP \\(bu 2", *filled(spans(item)))
        self._fresh = False

    def _table(self, lines):
        for line in lines[2:]:
            first, *others = (cell.strip() for cell in CELL.split(line)[1:-1])
            first = first or "(empty)"
            if others[1:] and lines[0].startswith("| flag | default |"):
                first += f" (default: {others[0]})" if others[0] else ""
                others = others[1:]
            self._add(*tagged(spans(first), spans(": ".join(filter(None, others)))))
        self._fresh = False

    def _placeholder(self, lines):
        {"@options@": self._options, "@commands@": self._commands}[lines[0]]()
        self._fresh = False

    def _options(self):
        for group, options in self._program.groups.items():
            if len(self._program.groups) > 1:
                self._add(".SS " + escaped(group))
            for option in options:
                self._add(*self._option(option))

    def _commands(self):
        for command in self._program.commands:
            words = [f"{self._program.name} {command.name}", "[OPTIONS]"]
            words += [option.name for option in command.positionals]
            about = escaped(command.about or command.summary)
            self._add(".SS " + escaped(" ".join(words)), *filled(about))
            for option in command.positionals + command.flags:
                self._add(*self._option(option))
            self._footer(command.footer)

    def _option(self, option):
        names = ", ".join(f"\\fB{escaped(name)}\\fR" for name in option.names)
        has_value = option.value and not option.positional
        value = f" \\fI{escaped(option.value)}\\fR" if has_value else ""
        text = escaped(option.help)
        more = []
        if option.required and not option.positional:
            more.append("It has to be given.")
        if option.default:
            more.append(f"Default: {escaped(option.default)}.")
        ends = "" if text.endswith((".", "!")) or not more else "."
        return tagged(names + value, " ".join([text + ends, *more]))

    def _footer(self, footer):
        """Examples and the like: a heading in capitals, then lines as they stand."""
        block = []
        for line in [*footer.splitlines(), None]:
            is_heading = line is not None and re.fullmatch(r"[A-Z][A-Z ]+", line)
            if line is not None and not is_heading:
                block.append(line.removeprefix("  "))
                continue
            while block and not block[-1]:
                block.pop()
            if block:
                self._add(*code(block))
            block = []
            if is_heading:
                self._add(".PP", f"\\fI{escaped(line.capitalize())}\\fR")
