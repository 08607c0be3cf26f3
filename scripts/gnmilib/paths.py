"""gNMI path strings, "/module:name/list[key=value]/leaf", to messages and back."""

from gnmilib.stubs import load

gnmi, _ = load()


class PathError(ValueError):
    pass


def _element_texts(text):
    """Splits at slashes outside brackets; in them a backslash makes the next character literal."""
    texts, current, depth, escaped = [], "", 0, False
    for character in text:
        if escaped:
            escaped = False
        elif character == "\\" and depth:
            escaped = True
        elif character == "[" and not depth:
            depth = 1
        elif character == "]" and depth:
            depth = 0
        elif character == "/" and not depth:
            texts.append(current)
            current = ""
            continue
        current += character
    if depth:
        raise PathError(f"{text}: a bracket is not closed")
    texts.append(current)
    return texts


def _keys(text, whole):
    """{"a": "1"} for "[a=1]"."""
    keys, position = {}, 0
    while position < len(text):
        equals = text.find("=", position)
        if text[position] != "[" or equals < 0:
            raise PathError(f"{whole}: expected [key=value] at {text[position:]}")
        name, value = text[position + 1 : equals], ""
        position = equals + 1
        while position < len(text) and text[position] != "]":
            if text[position] == "\\":
                position += 1
            value += text[position]
            position += 1
        position += 1
        keys[name] = value
    return keys


def parse(text, origin="", target=""):
    """The gnmi.Path of a path string. "openconfig:/a" sets the origin."""
    head, colon, rest = text.partition(":/")
    if colon and "/" not in head and "[" not in head:
        origin, text = head, "/" + rest
    path = gnmi.Path(origin=origin, target=target)
    text = text[1:] if text.startswith("/") else text
    if not text:
        return path
    for element in _element_texts(text):
        name, bracket, keys = element.partition("[")
        if not name:
            raise PathError(f"{text}: an element is empty")
        path.elem.append(gnmi.PathElem(name=name, key=_keys(bracket + keys, text)))
    return path


def text(path):
    """The path string of a gnmi.Path, keys in order of their names."""
    elements = []
    for element in path.elem:
        keys = "".join(
            "[%s=%s]" % (name, value.replace("\\", "\\\\").replace("]", "\\]"))
            for name, value in sorted(element.key.items())
        )
        elements.append(element.name + keys)
    return "/" + "/".join(elements)
