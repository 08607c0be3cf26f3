"""The option tables of a document in Markdown: below each heading that is a group of the program's
options stands the table of that group.
"""

HEAD = ["| flag | default | meaning |", "|---|---|---|"]


def _code(text):
    return "`" + text.replace("|", "\\|") + "`" if text else ""


def row(option):
    flag = " ".join(filter(None, [option.name, option.value]))
    return f"| {_code(flag)} | {_code(option.default)} | {option.help} |"


def renewed(page, program):
    """The page with its tables made anew. A group without a heading is an error."""
    groups = program.groups
    lines = []
    in_table = False
    for line in page.splitlines():
        if in_table and (not line or line.startswith("|")):
            continue
        if in_table:
            lines.append("")
            in_table = False
        lines.append(line)
        options = groups.pop(line[3:], None) if line.startswith("## ") else None
        if options is not None:
            lines += ["", *HEAD, *map(row, options)]
            in_table = True
    if groups:
        raise ValueError("no heading for: " + ", ".join(groups))
    return "\n".join(lines) + "\n"
