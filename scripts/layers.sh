#!/usr/bin/env bash
# Checks the layering of the sources: a family of host/ includes only the
# families below it (host/README.md), and the module's folders include
# nothing of host/. Prints every include against the order and exits 1 when
# there is one.
#
#   bash scripts/layers.sh
set -euo pipefail
cd "$(dirname "$0")/.."

# Each family's rank, lowest first; families of one rank stand side by side
# and may not include each other.
declare -A rank=(
  [base]=0 [text]=1 [values]=2 [collections]=3 [runtime]=4
  [files]=5 [streams]=5 [settings]=5 [parameters]=5 [ui]=5 [os]=5
  [transfer]=6 [transform]=6 [archive]=7
)

bad=0
complain() { echo "layering: $1" >&2; bad=1; }

# host/<family>/...: includes of host/<other>/... must point down.
while IFS= read -r file; do
  family=${file#host/}; family=${family%%/*}
  [[ -n ${rank[$family]+x} ]] || { complain "$file: host/$family/ is no known family (add it to scripts/layers.sh)"; continue; }
  while IFS= read -r line; do
    other=${line#*\"host/}; other=${other%%/*}
    [[ $other == "$family" ]] && continue
    if [[ -z ${rank[$other]+x} ]]; then
      complain "$file includes host/$other/, which is no family"
    elif ((rank[$other] >= rank[$family])); then
      complain "$file ($family) includes host/$other/ ($other is not below $family)"
    fi
  done < <(grep -E '^[[:space:]]*#[[:space:]]*include[[:space:]]+"host/' "$file" || true)
done < <(git ls-files --cached --others --exclude-standard 'host/*/*.h' 'host/*/*.cpp')

# The module's folders: nothing of host/.
while IFS= read -r hit; do
  complain "${hit%%:*} includes the host runtime: ${hit#*:}"
done < <(git grep --untracked -n -E '^[[:space:]]*#[[:space:]]*include[[:space:]]+"host/' -- sdk module core step parameters components || true)

if ((bad)); then
  echo "layering: includes against the order above (see host/README.md)" >&2
  exit 1
fi
echo "layering: every include points down"
