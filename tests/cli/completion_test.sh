#!/usr/bin/env bash
# What the bash completion offers after each start of a command line.
# Usage: completion_test.sh VELOTTECTL.BASH
set -uo pipefail
source "$1" || { echo "FAIL: $1 does not load"; exit 1; }
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export XDG_CACHE_HOME=$home/cache HOME=$home
mkdir -p "$XDG_CACHE_HOME/velotte"
printf 'Living Room\nKitchen\nKids’ Room\n' >"$XDG_CACHE_HOME/velotte/rooms"

# complete WORD... : the words offered for the last one, one a line.
complete_line() {
  COMP_WORDS=(velottectl "$@")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _velottectl
  printf '%s\n' "${COMPREPLY[@]}"
}

failures=0
# line (words, | between them) -> an offer that must be there; "-" alone: nothing at all
cases=(
  "au|autostart"
  "--r|--room"
  "--room|Liv|Living\\ Room"
  "--room|\"Liv|Living Room"
  "--room|Living\\ R|Living\\ Room"
  "--room|Living Room|vol|volume"
  "group|Kitchen||Kids’\\ Room"
  "volume|--player||Kitchen"
  "news||add"
  "news|add||Kitchen"
  "news|add|Kitchen|06:45|weekdays|--lang|--language"
  "news|add|Kitchen|06:45|weekdays|--language||japanese"
  "autostart||off"
  "login|--|--no-browser"
  "status||-"
)
for c in "${cases[@]}"; do
  IFS='|' read -r -a words <<<"$c"
  want=${words[-1]}
  unset 'words[-1]'
  [ ${#words[@]} -gt 0 ] || words=("")
  [[ $c == *"|" ]] && words+=("")
  got=$(complete_line "${words[@]}")
  if [ "$want" = - ]; then
    [ -z "$got" ] || { echo "FAIL: velottectl ${words[*]}<TAB> offered: $got"; failures=$((failures + 1)); }
  elif ! grep -qxF -- "$want" <<<"$got"; then
    echo "FAIL: velottectl ${words[*]}<TAB> did not offer $want; offered: $(tr '\n' ' ' <<<"$got")"
    failures=$((failures + 1))
  fi
done

# Without a household read yet, rooms are simply not offered.
rm "$XDG_CACHE_HOME/velotte/rooms"
got=$(complete_line group "")
[ -z "$got" ] || { echo "FAIL: rooms offered without a cache: $got"; failures=$((failures + 1)); }

echo "completion: ${#cases[@]} lines, $failures failed"
exit $((failures > 0))
