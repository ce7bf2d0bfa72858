#!/usr/bin/env python3
"""The bash completion and the man page's COMMANDS section of a program, from its own --help.

    cli_docs.py PROGRAM --bash-completion OUT --man-include OUT

Walks `PROGRAM [COMMAND...] --help` through every subcommand (the CLI11 help layout: sections
"Options:", "Positionals:" and "Subcommands:", entries indented by two spaces), so what is
installed always matches the program that was built.
"""
import argparse
import os
import re
import subprocess
import sys


def help_text(program, path):
    result = subprocess.run([program, *path, "--help"], capture_output=True, text=True,
                            timeout=60, env={**os.environ, "LC_ALL": "C.UTF-8"})
    if result.returncode != 0:
        sys.exit(f"cli_docs: {' '.join([program, *path, '--help'])} exited {result.returncode}:"
                 f" {result.stderr.strip()}")
    return result.stdout


def parse(text):
    """(subcommands, options, options that take a value) of one help page."""
    subcommands, options, valued = [], [], []
    section = None
    for line in text.splitlines():
        if re.match(r"^[A-Za-z][A-Za-z ]*:$", line):
            section = line[:-1]
            continue
        entry = re.match(r"^  (\S.*)$", line)
        if not entry:
            continue
        head = re.split(r"\s{2,}", entry.group(1))[0]
        if section == "Subcommands":
            subcommands.append(head.split()[0])
        elif section == "Options" and head.startswith("-"):
            words = head.split()
            names = [n for n in words[0].split(",") if n.startswith("-")]
            options += names
            if len(words) > 1 and re.match(r"^[A-Z]", words[1]):
                valued += names
    return subcommands, options, valued


def walk(program):
    pages = {}
    pending = [()]
    while pending:
        path = pending.pop(0)
        text = help_text(program, list(path))
        subcommands, options, valued = parse(text)
        pages[path] = (text, subcommands, options, valued)
        pending += [path + (name,) for name in subcommands]
    return pages


def bash_completion(name, pages):
    function = "_" + re.sub(r"[^A-Za-z0-9]", "_", name)
    quote = lambda words: '"' + " ".join(words) + '"'
    # Keys "_", "_ activity", "_ activity render": bash has no empty key.
    key = lambda path: quote(["_", *path])
    valued = sorted({option for page in pages.values() for option in page[3]})
    lines = [
        f"# bash completion of {name}: its commands and options, generated from `{name} --help`.",
        f"{function}() {{",
        "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}",
        "  local -A commands=(",
    ]
    lines += [f'    [{key(path)}]={quote(page[1])}' for path, page in pages.items()]
    lines += ["  )", "  local -A options=("]
    lines += [f'    [{key(path)}]={quote(page[2])}' for path, page in pages.items()]
    lines += ["  )", f"  local valued=\" {' '.join(valued)} \"", r"""
  # The command path so far: words naming a subcommand of the path before them.
  local path=_ word i
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $word == -* ]]; then
      [[ $valued == *" $word "* ]] && ((i++))
      continue
    fi
    [[ " ${commands[$path]} " == *" $word "* ]] && path="$path $word"
  done
  if [[ $valued == *" $prev "* ]]; then
    COMPREPLY=($(compgen -f -- "$cur"))
  elif [[ $cur == -* ]]; then
    # The program's own options stay valid after a subcommand.
    COMPREPLY=($(compgen -W "${options[$path]} ${options[_]}" -- "$cur"))
  elif [[ -n ${commands[$path]} ]]; then
    COMPREPLY=($(compgen -W "${commands[$path]}" -- "$cur"))
  else
    COMPREPLY=($(compgen -f -- "$cur"))
  fi
}""", f"complete -o filenames -F {function} {name}", ""]
    return "\n".join(lines)


def roff(text):
    lines = []
    for line in text.rstrip().splitlines():
        line = line.replace("\\", "\\e")
        lines.append("\\&" + line if line.startswith((".", "'")) else line)
    return "\n".join(lines)


def man_include(name, pages):
    out = ["[COMMANDS]"]
    for path, page in pages.items():
        if not path:
            continue
        out += [f'.SS "{name} {" ".join(path)}"', ".nf", roff(page[0]), ".fi"]
    return "\n".join(out) + "\n"


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("program")
    arguments.add_argument("--bash-completion", required=True)
    arguments.add_argument("--man-include", required=True)
    options = arguments.parse_args()
    name = os.path.basename(options.program)
    pages = walk(options.program)
    with open(options.bash_completion, "w") as out:
        out.write(bash_completion(name, pages))
    with open(options.man_include, "w") as out:
        out.write(man_include(name, pages))


if __name__ == "__main__":
    main()
