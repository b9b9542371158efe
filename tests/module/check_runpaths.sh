#!/usr/bin/env bash
# No ELF file under the build tree $1 may search for libraries in the working
# directory: every RPATH and RUNPATH entry is absolute or starts at $ORIGIN.
# An empty entry (as in "dir:" or "a::b") and a relative one are refused.
set -euo pipefail
checked=0 bad=0
while IFS= read -r -d '' file; do
  [[ $(head -c 4 "$file" | od -An -tx1 | tr -d ' ') == 7f454c46 ]] || continue
  checked=$((checked + 1))
  paths=$(readelf -d "$file" | sed -n 's/.*(R\(UN\)\{0,1\}PATH).*\[\(.*\)\]$/\2/p')
  while IFS= read -r path; do
    [[ -n $path ]] || continue
    IFS=: read -r -a entries <<<"$path:"  # the extra ':' keeps a trailing empty entry
    for entry in "${entries[@]}"; do
      [[ $entry == /* || $entry == '$ORIGIN'* || $entry == '${ORIGIN}'* ]] && continue
      echo "$file: search path [$path] has the entry '$entry'" >&2
      bad=$((bad + 1))
    done
  done <<<"$paths"
done < <(find "$1" -type f \( -perm -u+x -o -name '*.so' -o -name '*.so.*' \) -print0)
(( checked > 0 )) || { echo "no ELF file under $1" >&2; exit 1; }
echo "$checked ELF files, $bad bad search path entries"
(( bad == 0 ))
