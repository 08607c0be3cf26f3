"""Completions of bash and zsh."""

FOLDERS = ("DIR",)
FILES = ("FILE", "COMMAND")


def _kind(option):
    """What a value of the option is: "choice", "folder", "file" or "other"."""
    if option.choices:
        return "choice"
    words = {option.value, option.names[0]}
    return "folder" if words & set(FOLDERS) else "file" if words & set(FILES) else "other"


def _levels(program):
    """(command's name, or "" for none; its options) for the program and each command."""
    yield "", program
    for command in program.commands:
        yield command.name, command


def _bash_value(option):
    kind = _kind(option)
    if kind == "choice":
        return f'COMPREPLY=($(compgen -W "{" ".join(option.choices)}" -- "$word")); return'
    if kind == "other":
        return "return"
    return f"files={'-d' if kind == 'folder' else '-f'}"


def _bash_level(name, command):
    lines = [f'    "{name}")']
    words = [name for option in command.flags for name in option.names if name.startswith("--")]
    words += [sub.name for sub in command.commands]
    lines.append(f'      words="{" ".join(words)}"')
    for option in command.positionals:
        if _kind(option) in ("folder", "file"):
            lines.append(f'      [[ $word == -* ]] || {_bash_value(option)}')
    actions = {}  # {what is done: the names of the options that take such a value}
    for option in command.flags:
        if option.value:
            actions.setdefault(_bash_value(option), []).extend(option.names)
    if actions:
        lines.append('      case "$before" in')
        lines += [f"        {'|'.join(names)}) {action} ;;" for action, names in actions.items()]
        lines.append("      esac")
    lines.append("      ;;")
    return lines


def bash(program):
    commands = " ".join(command.name for command in program.commands)
    lines = [
        f"# Completion of {program.name} for bash; made from what the program says of itself.",
        f"_{program.name}() {{",
        '  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}',
        "  local command= words= files= i",
        "  COMPREPLY=()",
        "  for ((i = 1; i < COMP_CWORD; i++)); do",
        f'    case " {commands} " in *" ${{COMP_WORDS[i]}} "*)',
        "      command=${COMP_WORDS[i]}; break ;; esac",
        "  done",
        '  case "$command" in',
    ]
    for name, command in _levels(program):
        lines += _bash_level(name, command)
    lines += [
        "  esac",
        "  if [[ -n $files ]]; then",
        # Outside a completion, as in a test, there is nothing to set options of.
        "    compopt -o filenames 2>/dev/null",
        '    COMPREPLY=($(compgen "$files" -- "$word"))',
        "  else",
        '    COMPREPLY=($(compgen -W "$words" -- "$word"))',
        "  fi",
        "}",
        f"complete -F _{program.name} {program.name}",
    ]
    return "\n".join(lines) + "\n"


def _quoted(text):
    """Inside single quotes of zsh, and of _arguments' own notation."""
    for character in "\\[]:":
        text = text.replace(character, "\\" + character)
    return text.replace("'", "'\\''")


def _zsh_value(option):
    choices = f"({' '.join(option.choices)})"
    actions = {"choice": choices, "folder": "_directories", "file": "_files"}
    name = option.names[0] if option.positional else option.value or option.name
    return f":{_quoted(name)}:{actions.get(_kind(option), ' ')}"


def _zsh_options(command):
    lines = []
    for option in command.flags:
        value = _zsh_value(option) if option.value else ""
        many = "*" if option.many else ""
        for name in option.names:
            lines.append(f"    '{many}{name}[{_quoted(option.help)}]{value}'")
    return lines + [f"    '{_zsh_value(option)}'" for option in command.positionals]


def _zsh_function(name, options, more=()):
    return [f"{name}() {{", "  _arguments -s \\", " \\\n".join([*options, *more]), "}", ""]


def zsh(program):
    name = program.name
    lines = [f"#compdef {name}", f"# Made from what {name} says of itself.", ""]
    for command in program.commands:
        lines += _zsh_function(f"_{name}_{command.name.replace('-', '_')}", _zsh_options(command))
    described = "\n".join(
        f"    '{command.name}:{_quoted(command.summary)}'" for command in program.commands
    )
    lines += [
        f"_{name}() {{",
        "  local -a commands",
        "  local state line curcontext=$curcontext",
        "  commands=(",
        described,
        "  )",
        "  _arguments -s -C \\",
        " \\\n".join([*_zsh_options(program), "    '1: :->command'", "    '*:: :->rest'"]),
        "  case $state in",
        "    command) _describe command commands ;;",
        f'    rest) (( $+functions[_{name}_${{line[1]//-/_}}] )) && _{name}_${{line[1]//-/_}} ;;',
        "  esac",
        "}",
        "",
        # Loaded by compinit it is called at once; read by a script it defines.
        f'if [[ $funcstack[1] == _{name} ]]; then _{name} "$@"; else compdef _{name} {name}; fi',
    ]
    return "\n".join(lines) + "\n"
