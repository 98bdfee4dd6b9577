#!/usr/bin/env bash
# Mutation check: applies each mistake of tests/mutants.txt to a scratch copy
# of the tree, rebuilds it, runs the unit and integration tests and says
# whether they noticed. With IDs, only those mutations run.
#
#   bash scripts/mutants.sh [ID...]
#
# One line per mutation (KILLED with the first failing test, SURVIVED, or
# DID NOT BUILD), then "N killed, M survived". Survivors do not fail the run;
# an entry that is missing, ambiguous or does not build does (exit 2).
# The real tree is never touched: the copy lives in build/mutants/.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
list=tests/mutants.txt
scratch=build/mutants
tree=$scratch/tree
out=$scratch/out
logs=$scratch/logs
test_timeout=${MUTANTS_TEST_TIMEOUT:-300}

helper() { python3 - "$@" <<'PY'
import os, re, shutil, subprocess, sys

def parse(path):
    """Blocks of the list: [id], file:, what:, then -/+ line pairs."""
    entries, errors, cur = [], [], None
    with open(path, encoding="utf-8") as f:
        for number, raw in enumerate(f, 1):
            line = raw.rstrip("\n")
            if cur is not None and (line.startswith("-") or line.startswith("+")):
                cur["lines"].append((line[0], line[1:], number))
                continue
            text = line.strip()
            if not text or text.startswith("#"):
                continue
            m = re.fullmatch(r"\[([A-Za-z0-9._-]+)\]", text)
            if m:
                cur = {"id": m.group(1), "file": None, "what": "", "lines": [], "at": number}
                entries.append(cur)
            elif cur is not None and text.startswith("file:"):
                cur["file"] = text[5:].strip()
            elif cur is not None and text.startswith("what:"):
                cur["what"] = text[5:].strip()
            else:
                errors.append(f"{path}:{number}: not part of an entry: {text}")
    seen = set()
    for e in entries:
        where = f"{path}:{e['at']} [{e['id']}]"
        if e["id"] in seen:
            errors.append(f"{where}: the id is used twice")
        seen.add(e["id"])
        if not e["file"] or not e["what"]:
            errors.append(f"{where}: needs file: and what:")
        signs = [s for s, _, _ in e["lines"]]
        if not signs or signs != ["-", "+"] * (len(signs) // 2) or len(signs) % 2:
            errors.append(f"{where}: needs -original and +mutated lines, in pairs")
        e["pairs"] = [(e["lines"][i][1], e["lines"][i + 1][1]) for i in range(0, len(e["lines"]) - 1, 2)]
    return entries, errors

def locate(lines, original):
    """The one index of `original`: trimmed first, then with its indentation."""
    hits = [i for i, l in enumerate(lines) if l.strip() == original.strip()]
    if len(hits) > 1:
        hits = [i for i, l in enumerate(lines) if l.rstrip() == original.rstrip()]
    return hits

def check(entry, base):
    path = os.path.join(base, entry["file"] or "")
    if not entry["file"] or not os.path.isfile(path):
        return [f"[{entry['id']}] {entry['file']}: no such file"]
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    errors = []
    for original, _ in entry["pairs"]:
        hits = locate(lines, original)
        if not hits:
            errors.append(f"[{entry['id']}] {entry['file']}: line not found: {original.strip()}")
        elif len(hits) > 1:
            errors.append(f"[{entry['id']}] {entry['file']}: line occurs {len(hits)} times (lines "
                          + ", ".join(str(h + 1) for h in hits) + f"): {original.strip()}")
    return errors

def select(entries, ids):
    if not ids:
        return entries, []
    known = {e["id"]: e for e in entries}
    return [known[i] for i in ids if i in known], [f"no mutation is called {i}" for i in ids if i not in known]

def main():
    cmd, listfile = sys.argv[1], sys.argv[2]
    entries, errors = parse(listfile)
    if cmd == "validate":
        base, ids = sys.argv[3], sys.argv[4:]
        chosen, unknown = select(entries, ids)
        errors += unknown
        for e in chosen:
            errors += check(e, base)
        for message in errors:
            print("list error: " + message, file=sys.stderr)
        if errors:
            sys.exit(2)
        for e in chosen:
            print(e["id"] + "\t" + e["file"] + "\t" + e["what"])
    elif cmd == "apply":
        base, ident = sys.argv[3], sys.argv[4]
        entry = next(e for e in entries if e["id"] == ident)
        path = os.path.join(base, entry["file"])
        with open(path, encoding="utf-8") as f:
            lines = f.read().split("\n")
        targets = [(locate(lines, o)[0], m) for o, m in entry["pairs"]]
        for index, mutated in targets:  # all found first, so a swap sees the originals
            indent = lines[index][: len(lines[index]) - len(lines[index].lstrip())]
            lines[index] = indent + mutated.strip() if mutated.strip() else ""
        with open(path, "w", encoding="utf-8") as f:
            f.write("\n".join(lines))

def sync():
    """Copies changed tracked (and new, not ignored) files; drops the rest."""
    src, dst = sys.argv[2], sys.argv[3]
    names = subprocess.run(["git", "-C", src, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           check=True, capture_output=True).stdout.decode().split("\0")
    wanted = {n for n in names if n and os.path.isfile(os.path.join(src, n))}
    copied = 0
    for name in wanted:
        a, b = os.path.join(src, name), os.path.join(dst, name)
        if os.path.isfile(b) and not os.path.islink(b):
            with open(a, "rb") as x, open(b, "rb") as y:
                if x.read() == y.read():
                    continue
        os.makedirs(os.path.dirname(b), exist_ok=True)
        shutil.copy2(a, b)
        os.utime(b)  # newer than any object built from an older copy
        copied += 1
    removed = 0
    for folder, _, files in os.walk(dst):
        for f in files:
            rel = os.path.relpath(os.path.join(folder, f), dst)
            if rel not in wanted:
                os.remove(os.path.join(folder, f))
                removed += 1
    print(f"scratch tree: {copied} files copied, {removed} removed")

if sys.argv[1] == "sync":
    sync()
else:
    main()
PY
}

first_failure() {
    # "  3/41 Test  #7: test_session ....***Failed  2.31 sec" -> test_session
    sed -n 's/^ *[0-9]*\/[0-9]* Test *#[0-9]*: \([^ ]*\) .*\*\*\*\(Failed\|Timeout\|Exception\|Not Run\).*/\1/p' "$1" | head -1
}

# Validate against the real tree first: a bad list stops before any build.
entries=$(helper validate "$list" "$root" "$@") || exit 2
[ -n "$entries" ] || { echo "no mutations to run" >&2; exit 2; }

mkdir -p "$tree" "$logs"
if [ -d ../shared ]; then
    ln -sfn "$(realpath ../shared)" "$scratch/shared" # what ../shared is to the tree
fi
helper sync "$root" "$tree"

start=$(date +%s)
if [ ! -f "$out/build.ninja" ]; then
    cmake -S "$tree" -B "$out" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELOTTE_SANITIZE=OFF -DVELOTTE_BENCH=OFF >"$logs/configure.log" 2>&1 \
        || { echo "configuring the scratch tree failed: see $logs/configure.log" >&2; exit 2; }
fi
if ! cmake --build "$out" -j2 >"$logs/build.log" 2>&1; then
    echo "the unmutated scratch tree does not build: see $logs/build.log" >&2
    exit 2
fi

ctest_args=(--test-dir "$out" -L 'unit|integration' -j2 --timeout "$test_timeout")
leftout='^$'
# Tests that fail without any mutation would kill every mutant: leave them out.
if ! ctest "${ctest_args[@]}" --no-tests=error >"$logs/baseline.log" 2>&1; then
    broken=$(sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\) (.*/\1/p' "$logs/baseline.log" | sort -u)
    if [ -z "$broken" ]; then
        echo "the unmutated tests did not run: see $logs/baseline.log" >&2
        exit 2
    fi
    echo "failing without any mutation, left out: $(echo $broken)"
    leftout="^($(echo $broken | tr ' ' '|'))\$"
fi
echo "baseline built and tested in $(( $(date +%s) - start )) s"

current=""
restore() {
    if [ -n "$current" ]; then
        cp "$root/$current" "$tree/$current"
        touch "$tree/$current"
        current=""
    fi
}
trap restore EXIT
trap 'exit 130' INT TERM

# The tests of the mutated area run first, so a kill usually stops early.
run_tests() {
    local area=$1 log=$2
    ctest "${ctest_args[@]}" --stop-on-failure -R "_$area" -E "$leftout" --no-tests=ignore >"$log" 2>&1 \
        && ctest "${ctest_args[@]}" --stop-on-failure -E "_$area|$leftout" >>"$log" 2>&1
}

killed=0 survived=0 unbuilt=0
while IFS=$'\t' read -r -u 3 id file what; do
    began=$(date +%s)
    current=$file
    helper apply "$list" "$tree" "$id"
    if ! cmake --build "$out" -j2 >"$logs/$id.build.log" 2>&1; then
        restore
        unbuilt=$((unbuilt + 1))
        printf 'DID NOT BUILD  %s  %s  %s  (see %s)\n' "$id" "$file" "$what" "$logs/$id.build.log"
        continue
    fi
    area=$(echo "$file" | cut -d/ -f2)
    if run_tests "$area" "$logs/$id.log"; then
        restore
        survived=$((survived + 1))
        printf 'SURVIVED  %s  %s  %s  (%d s)\n' "$id" "$file" "$what" $(( $(date +%s) - began ))
    else
        restore
        killed=$((killed + 1))
        by=$(first_failure "$logs/$id.log")
        printf 'KILLED    %s  %s  %s  by %s  (%d s)\n' "$id" "$file" "$what" "${by:-an error, see $logs/$id.log}" $(( $(date +%s) - began ))
    fi
done 3<<<"$entries"

echo "total time $(( $(date +%s) - start )) s"
echo "$killed killed, $survived survived"
if [ "$unbuilt" -gt 0 ]; then
    echo "$unbuilt did not build: fix those entries" >&2
    exit 2
fi
