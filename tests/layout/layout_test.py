"""Holds the arrows between the rooms: every #include of the programs' code against the two tables of
docs/architecture.md."""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')
CODE = ("host", "apps", "src", "platform", "include")


def table(head):
    """The rows of the table with this head: a cell's names in backticks."""
    lines = (ROOT / "docs/architecture.md").read_text().splitlines()
    rows = {}
    at = lines.index(head) + 2
    while lines[at].startswith("|"):
        cells = [re.findall(r"`([^`]+)`", cell) for cell in lines[at].split("|")[1:3]]
        for name in cells[0]:
            rows[name] = set(cells[1])
        at += 1
    return rows


ARROWS = table("| room | includes |")
ONLY_IN = table("| header | only in |")


def room_of(path):
    """The longest room that the file is in; None for what belongs to no room, as precompiled headers do."""
    text = path.as_posix()
    found = [room for room in ARROWS if text.startswith(room + "/")]
    return max(found, key=len) if found else None


def sources():
    for folder in CODE:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".cc", ".h"):
                yield path.relative_to(ROOT)


def includes(path):
    for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
        found = INCLUDE.match(line)
        if found:
            yield number, found[1] == '"', found[2]


def included_file(path, name):
    """The file of the tree that the name means; None for the system's and generated ones."""
    folders = [path.parent, *map(pathlib.Path, ("host", "apps", "apps/nexa", "apps/nexad", "src", "include"))]
    folders += [folder.relative_to(ROOT) for folder in ROOT.glob("platform/*/include")]
    folders += [folder.relative_to(ROOT) for folder in ROOT.glob("platform/*/src")]
    for folder in folders:
        if (ROOT / folder / name).is_file():
            return folder / name
    return None


class IncludesTest(unittest.TestCase):
    def test_every_arrow_is_in_the_table(self):
        wrong = []
        for path in sources():
            room = room_of(path)
            for number, _, name in includes(path):
                target = included_file(path, name)
                to = room_of(target) if target else None
                if room and to and to != room and to not in ARROWS[room]:
                    wrong.append(f"{path}:{number}: {room} may not include {to} ({name})")
        self.assertEqual(wrong, [])

    def test_every_room_is_in_the_table(self):
        lost = [str(path) for path in sources() if room_of(path) is None and len(path.parts) > 2]
        self.assertEqual(lost, [])

    def test_no_arrow_of_the_table_points_up(self):
        rooms = list(ARROWS)
        for room, targets in ARROWS.items():
            for target in targets:
                self.assertIn(target, rooms)
                self.assertLess(rooms.index(room), rooms.index(target), f"{room} to {target}")

    def test_headers_of_libraries_stay_in_their_rooms(self):
        wrong = []
        for path in sources():
            for number, _, name in includes(path):
                for header, rooms in ONLY_IN.items():
                    if not name.startswith(header):
                        continue
                    if not any(path.as_posix().startswith(room) for room in rooms):
                        wrong.append(f"{path}:{number}: <{name}> belongs in {', '.join(sorted(rooms))}")
        self.assertEqual(wrong, [])

    def test_includes_in_host_are_rooted(self):
        wrong = []
        for path in sources():
            if path.parts[0] != "host" or len(path.parts) == 2:
                continue
            for number, quoted, name in includes(path):
                if quoted and ("/" not in name and not name.endswith(".pb.h")):
                    wrong.append(f'{path}:{number}: "{name}"')
        self.assertEqual(wrong, [])


class CommentsTest(unittest.TestCase):
    def test_every_file_begins_with_what_it_is(self):
        bare = []
        for folder in (*CODE, "bench", "tests", "fuzz"):
            for path in sorted((ROOT / folder).rglob("*")):
                if path.suffix in (".cc", ".h") and not path.read_text().startswith("//"):
                    bare.append(str(path.relative_to(ROOT)))
        self.assertEqual(bare, [])


class ConformanceTest(unittest.TestCase):
    def test_each_behaviour_of_the_full_profile_has_a_test_that_names_it(self):
        """docs/nexad/gnmi.md numbers the behaviours from 1 to 43."""
        named = set()
        for path in sorted((ROOT / "tests").rglob("*")):
            if path.suffix == ".cc":
                found = re.findall(r"^TEST(?:_F|_P)?\(\w+,\s*Row(\d\d)\w+\)", path.read_text(), re.M)
            elif path.suffix == ".py":
                found = re.findall(r"^    def test_row(\d\d)_", path.read_text(), re.M)
            else:
                continue
            named.update(map(int, found))
        self.assertEqual(sorted(set(range(1, 44)) ^ named), [])


class DocumentsTest(unittest.TestCase):
    def test_links_lead_somewhere(self):
        lost, found = [], 0
        for path in [ROOT / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]:
            for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", path.read_text()):
                found += 1
                if not (path.parent / target).exists():
                    lost.append(f"{path.relative_to(ROOT)}: {target}")
        self.assertEqual(lost, [])
        self.assertGreater(found, 20)

    def test_the_librarys_page_shows_the_file_that_runs(self):
        code = (ROOT / "apps/nexa/raw_convert.cc").read_text()
        page = (ROOT / "docs/library.md").read_text()
        self.assertIn("```cpp\n" + code + "```\n", page)


if __name__ == "__main__":
    unittest.main()
