"""What no test can reach, as the source says of itself: a comment `// unreached: REASON` beside or before a line
stands for the line and for those that are indented below it.
"""
import re

REASON = re.compile(r"// unreached: \S")


def unreached(lines):
    """The numbers, from 1, of the lines that a reason stands for."""
    numbers, deep, is_next = set(), None, False
    for number, line in enumerate(lines, 1):
        depth = len(line) - len(line.lstrip())
        if deep is not None and line.strip() and depth <= deep:
            deep = None
        if deep is None and (is_next or REASON.search(line)):
            is_next = line.lstrip().startswith("//")
            deep = None if is_next else depth
            numbers.add(number)
        elif deep is not None:
            numbers.add(number)
    return numbers
