#!/usr/bin/env python3
"""Writes velottectl's man page and bash completion from its own --help texts.

Usage: velottectl-docs.py VELOTTECTL OUTDIR

OUTDIR receives velottectl.1.gz and velottectl.bash. The completion's logic is
src/cli/completion.bash; this script puts in front of it the commands,
options and words that the help texts name, so both follow the program.
"""
import concurrent.futures
import gzip
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent


def run(program, *args):
    done = subprocess.run([program, *args], capture_output=True, text=True, check=True)
    return done.stdout


def sections(text):
    """The global help split into its parts: the usage line, the description,
    and each titled block ("Global options:", "Commands:", ...)."""
    blocks = {}
    title = None
    lines = text.splitlines()
    blocks['usage'] = [lines[0]]
    blocks['description'] = []
    for line in lines[1:]:
        if re.match(r'^[A-Z][A-Za-z ]*:', line) and not line.startswith(' '):
            title, _, rest = line.partition(':')
            blocks[title] = [rest.strip()] if rest.strip() else []
        elif title is None:
            if line.strip():
                blocks['description'].append(line.strip())
        elif line.strip():
            blocks[title].append(line)
    return blocks


def two_columns(lines):
    """Lines of a name column and a text column, aligned as in the help."""
    column = len(re.match(r'^( +\S+(?: \S+)* +)', lines[0]).group(1))
    for line in lines:
        yield line[:column].strip(), line[column:].strip()


def parse(program):
    blocks = sections(run(program, '--help'))
    options = list(two_columns(blocks['Global options']))
    commands = []
    lines = blocks['Commands']
    for head, summary in zip(lines[0::2], lines[1::2]):
        name, _, arguments = head.strip().partition(' ')
        commands.append({'name': name, 'arguments': arguments.strip(), 'summary': summary.strip()})
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        helps = list(pool.map(lambda c: run(program, c['name'], '--help'), commands))
    for command, text in zip(commands, helps):
        # "Usage: ...", a blank line, then the help itself.
        command['help'] = text.split('\n\n', 1)[1].strip() if '\n\n' in text else command['summary']
    return blocks, options, commands


# --- man page -------------------------------------------------------------

def roff(text):
    text = text.replace('\\', '\\e').replace('-', '\\-')
    # Plain ASCII in the page; every other character by its code point.
    text = ''.join(c if ord(c) < 128 else f'\\[u{ord(c):04X}]' for c in text)
    return '\n'.join('\\&' + line if line.startswith(('.', "'")) else line for line in text.split('\n'))


def man_page(program, blocks, options, commands):
    version = run(program, '--version').split()[-1]
    out = [f'.TH VELOTTECTL 1 "" "velottectl {version}" "User Commands"',
           '.SH NAME', 'velottectl \\- control Sonos speakers from the command line and from scripts',
           '.SH SYNOPSIS', '.B velottectl',
           '[\\fIglobal options\\fR] \\fICOMMAND\\fR [\\fIarguments\\fR]',
           '.SH DESCRIPTION', roff(' '.join(blocks['description'])),
           '.SH OPTIONS']
    for name, text in options:
        out += ['.TP', '.B ' + roff(name), roff(text)]
    out.append('.SH COMMANDS')
    for c in commands:
        out += ['.TP', f'.B {roff(c["name"])}' + (f' \\fR{roff(c["arguments"])}' if c['arguments'] else '')]
        for i, p in enumerate(c['help'].split('\n\n')):
            if i:
                out.append('.IP')
            # Lists and examples keep their lines and columns; prose is refilled.
            if re.search(r'^\s|\S {3,}\S', p, re.M):
                out += ['.nf', roff(p), '.fi']
            else:
                out.append(roff(' '.join(p.split('\n'))))
    for title in ('Exit status', 'Files'):
        if title in blocks:
            out.append('.SH ' + title.upper())
            lines = blocks[title]
            if len(lines) == 1:
                out.append(roff(lines[0]))
            else:
                for name, text in two_columns(lines):
                    out += ['.TP', '.I ' + roff(name), roff(text)]
    return '\n'.join(out) + '\n'


# --- completion -----------------------------------------------------------

OPTION = re.compile(r'(--[a-z][a-z-]*)(?: ([A-Z][A-Z,\[\]]*|[a-z]+(?:\|[a-z]+)+))?')


def shell_words(words):
    return ' '.join(sorted(set(words)))


def completion(options, commands):
    names = [c['name'] for c in commands]
    globals_ = []
    values = {}

    def note_values(text):
        for option, value in OPTION.findall(text):
            if not value:
                continue
            if option == '--room' or value.startswith('ROOM'):
                values[option] = '@rooms'
            elif '|' in value and value.islower():
                values[option] = ' '.join(value.split('|'))
            else:
                values.setdefault(option, '')

    for name, text in options:
        globals_ += [w.rstrip(',') for w in name.split() if w.startswith('-')]
        note_values(name)
    per_command = {}
    words = {}
    rooms = []
    for c in commands:
        usage = c['arguments'] + '\n' + c['help']
        note_values(usage)
        per_command[c['name']] = shell_words(o for o, _ in OPTION.findall(usage))
        # Literal lower-case words of the arguments are its first word's choices.
        literal = [w for w in re.split(r'[\s|\[\]]+', c['arguments']) if re.fullmatch(r'[a-z][a-z-]*', w)]
        if literal:
            words[c['name']] = shell_words(literal)
        if re.search(r'(?<!--player )\bROOM\b', usage):
            rooms.append(c['name'])

    def table(name, entries):
        lines = [f'    [{k}]={quote(v)}' for k, v in sorted(entries.items())]
        return f'declare -gA {name}=(\n' + '\n'.join(lines) + '\n)\n'

    def quote(text):
        return "'" + text.replace("'", "'\\''") + "'"

    head = ['# bash completion for velottectl; written at build time from velottectl --help.',
            f'_velottectl_commands={quote(" ".join(names))}',
            f'_velottectl_globals={quote(shell_words(globals_))}',
            f'_velottectl_room_commands={quote(" ".join(rooms))}']
    body = (root / 'src' / 'cli' / 'completion.bash').read_text(encoding='utf-8')
    return ('\n'.join(head) + '\n' + table('_velottectl_options', per_command) + table('_velottectl_words', words)
            + table('_velottectl_values', values) + '\n' + body)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    program, outdir = sys.argv[1], pathlib.Path(sys.argv[2])
    outdir.mkdir(parents=True, exist_ok=True)
    blocks, options, commands = parse(program)
    # mtime 0: the same help gives the same bytes.
    with open(outdir / 'velottectl.1.gz', 'wb') as raw:
        with gzip.GzipFile(filename='', mode='wb', fileobj=raw, mtime=0, compresslevel=9) as f:
            f.write(man_page(program, blocks, options, commands).encode('utf-8'))
    (outdir / 'velottectl.bash').write_text(completion(options, commands), encoding='utf-8')


if __name__ == '__main__':
    main()
