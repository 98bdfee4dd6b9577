#!/usr/bin/env python3
"""Lists every sentence the program shows a user and the test that checks it.

Sentences are the string literals under src/ that read as sentences (a capital
letter first, several words, a full stop, question mark or ellipsis at the
end). A sentence is covered when a test under tests/ holds it, or, for a
sentence with placeholders, its longest fixed part. A sentence that is all a
function returns has that function's name ("QuickPicksStore::hint"), and a
test that names the function, as a row of a table of sentences does, covers
it too. Writes docs/failure-matrix.md; with --check, writes nothing and exits
1 when a sentence has no test.
"""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
literal = re.compile(r'(?:QStringLiteral\(|u8?)?"((?:[^"\\\n]|\\.)*)"(?:_s|_L1)?')
sentence = re.compile(r'^[A-Z“"][^\n]*\s[^\n]*\s[^\n]*[.?…]$')
# Texts that read like sentences but never reach a user.
ignored = re.compile(r'^Controls Sonos speakers|usage:|^Velotte/|%[0-9] %[0-9]|^[A-Z_]+$|Fake |fake |error: |^Port of |^Address of |^How many |^Host of |^Bytes of |^A fault')


def unescape(text):
    return text.replace('\\"', '"').replace('\\\\', '\\').replace('\\n', '\n')


def function_name(lines, index):
    """Class::function when the sentence on lines[index] is all that function returns."""
    line = lines[index]
    if re.match(r'\s*(?:u8?)?"', line) and index > 0 and re.search(r'"\s*$', lines[index - 1]):
        return function_name(lines, index - 1)  # the second half of a literal split over lines
    same = re.search(r'\b(?:(\w+)::)?(\w+)\(\)\s*(?:const\s*)?(?:override\s*)?\{\s*return\b', line)
    if same:
        scope, name = same.groups()
    else:
        if not line.strip().startswith('return '):
            return None
        signature = None
        for back in range(index - 1, max(index - 3, -1), -1):
            text = lines[back].strip()
            if text == '{':
                continue
            signature = re.fullmatch(r'(?:static\s+)?QString\s+(?:(\w+)::)?(\w+)\(\)\s*(?:const)?\s*\{?', text)
            break
        if not signature:
            return None
        scope, name = signature.groups()
    if not scope:
        classes = re.findall(r'^\s*(?:class|struct)\s+(\w+)[^;]*$', '\n'.join(lines[:index]), re.M)
        if not classes:
            return None
        scope = classes[-1]
    return f'{scope}::{name}'


def sentences():
    found = {}
    exempt = {}
    names = {}
    for path in sorted((root / 'src').rglob('*')):
        if path.suffix not in ('.cpp', '.h', '.qml'):
            continue
        help_block = False
        previous = ''
        lines = path.read_text(encoding='utf-8').splitlines()
        for number, line in enumerate(lines, 1):
            why = re.search(r'// matrix: (.*)', previous)
            previous = line
            stripped = line.strip()
            # Command help is documentation, not something the program says.
            if 'Registration registration(' in line or re.search(r'const char \*?(helpText|usage)\b', line):
                help_block = True
            if help_block:
                if stripped.startswith('});') or stripped.endswith('";'):
                    help_block = False
                continue
            if stripped.startswith('//') or 'qCDebug' in line or 'qCWarning' in line or 'qCInfo' in line:
                continue
            for m in literal.finditer(line):
                text = unescape(m.group(1)).strip()
                if len(text) < 16 or not sentence.match(text) or ignored.search(text):
                    continue
                if why:
                    exempt.setdefault(text, (f'{path.relative_to(root)}:{number}', why.group(1)))
                else:
                    found.setdefault(text, f'{path.relative_to(root)}:{number}')
                    if path.suffix != '.qml' and len(list(literal.finditer(line))) == 1:
                        name = function_name(lines, number - 1)
                        if name:
                            names.setdefault(text, name)
    return found, exempt, names


def tests():
    out = []
    for path in sorted((root / 'tests').rglob('*')):
        if path.suffix in ('.cpp', '.h', '.qml', '.sh', '.py'):
            text = path.read_text(encoding='utf-8', errors='replace')
            # Literals split over lines read as one.
            text = re.sub(r'"(?:_s|_L1)?\s*\n\s*(?:u8?|QStringLiteral\()?"', '', text)
            out.append((path.relative_to(root), text))
    return out


def needle(text):
    # The longest piece between placeholders stands for the whole.
    parts = re.split(r'%[0-9]|\{[a-z]+\}', text)
    return max(parts, key=len).strip()


def located(path, body, at, how=''):
    """path:line and the test around that place."""
    tests_before = re.findall(r'^(?:TEST(?:_F)?\((\w+),\s*(\w+)\)|void (\w+)\(\))', body[:at], re.M)
    names = []
    if tests_before:
        last = tests_before[-1]
        names.append(f'{last[0]}.{last[1]}' if last[0] else last[2])
    if how:
        names.append(how)
    return f'{path}:{body.count(chr(10), 0, at) + 1}' + (f' ({", ".join(names)})' if names else '')


def naming(name, corpus):
    """The first test that names the function giving the sentence."""
    pattern = re.compile(r'\b' + re.escape(name) + r'\(\)')
    for path, body in corpus:
        m = pattern.search(body)
        if m:
            return located(path, body, m.start(), f'names {name}')
    return None


def covering(text, corpus):
    # Any fixed part of 20 characters or more (or the longest) stands for it.
    parts = [p.strip() for p in re.split(r'%[0-9]|\{[a-z]+\}', text)]
    keys = [p for p in parts if len(p) >= 20] or [needle(text)]
    if len(keys[0]) < 12:
        # Short fixed parts: the whole sentence with its blanks filled in.
        pattern = re.compile('.{1,60}?'.join(re.escape(p) for p in re.split(r'%[0-9]', text)))
        for path, body in corpus:
            m = pattern.search(body)
            if m:
                return located(path, body, m.start())
        return None
    variants = []
    for key in keys:
        # A test may check the opening words of a long sentence only.
        key = key[:45]
        variants += [key, key.replace('\\', '\\\\').replace('"', '\\"')]
    for path, body in corpus:
        for variant in variants:
            at = body.find(variant)
            if at >= 0:
                return located(path, body, at)
    return None


def main():
    found, exempt, names = sentences()
    corpus = tests()
    rows, gaps = [], []
    for text, where in sorted(found.items(), key=lambda kv: kv[1]):
        test = covering(text, corpus) or (naming(names[text], corpus) if text in names else None)
        rows.append((text, where, test))
        if not test:
            gaps.append((text, where))
    lines = ['# Failure matrix', '',
             'Every sentence the program shows a user, where it is written, and the test that produces it.',
             'Written by `scripts/failure-matrix.py`; the test `test_failure_matrix` runs it with `--check`.', '',
             f'{len(rows)} sentences, {len(rows) - len(gaps)} with a test.', '',
             '| Sentence | Source | Test |', '|---|---|---|']
    for text, where, test in rows:
        cell = text.replace('|', '\\|').replace('\n', ' ')
        lines.append(f'| {cell} | `{where}` | {("`" + test + "`") if test else "**none**"} |')
    lines += ['', '## Sentences no path shows', '',
              'Sentences every failure type must have, and last-resort fallbacks, that no known path puts in front of a user.', '',
              '| Sentence | Source | Why |', '|---|---|---|']
    for text, (where, why) in sorted(exempt.items(), key=lambda kv: kv[1][0]):
        lines.append(f'| {text} | `{where}` | {why} |')
    if '--check' not in sys.argv:
        (root / 'docs' / 'failure-matrix.md').write_text('\n'.join(lines) + '\n', encoding='utf-8')
    if '--check' in sys.argv and gaps:
        for text, where in gaps:
            print(f'no test: {where}: {text}')
        return 1
    print(f'{len(rows)} sentences, {len(gaps)} without a test')
    return 0


if __name__ == '__main__':
    sys.exit(main())
