#!/usr/bin/env bash
# The C API of libvor-host is one list of functions: those vor/session.h ($2)
# declares are exactly the C exports of libvor-host.so.0 ($1) and the
# functions of vor_session(3)'s SYNOPSIS ($3). Besides them the library exports
# only vor::host names, every one under the version node VOR_HOST_0: no Impl,
# no private constructor, no libstdc++ instantiation. It needs no static TLS,
# which a process that loads it with dlopen (Python's ctypes) may not have.
set -euo pipefail
header_functions=$(sed -n 's/^VOR_HOST_API [^(]*[ *]\(vor_[a-z0-9_]*\)(.*/\1/p' "$2" | sort)
man_functions=$(sed -n '/^\.SH SYNOPSIS/,/^\.SH /p' "$3" | grep -o 'vor_[a-z0-9_]*(' | tr -d '(' | sort)
symbols=$(readelf --dyn-syms -W "$1" | awk 'NR > 3 && $7 != "UND" && $8 != "" {print $8}')
bad=$(grep -v '@@VOR_HOST_0$' <<<"$symbols" | grep -vx 'VOR_HOST_0' || true)
names=$(sed 's/@@VOR_HOST_0$//' <<<"$symbols" | grep -vx 'VOR_HOST_0' | c++filt)
c_exports=$(grep -v '::' <<<"$names" | sort)
bad+=$(grep '::' <<<"$names" | grep -v '^vor::host::' || true)
bad+=$(grep -E '::Impl::|Session::Session\(' <<<"$names" || true)
[[ -z $bad ]] || { printf 'not to be exported or not under VOR_HOST_0:\n%s\n' "$bad" >&2; exit 1; }
diff <(echo "$header_functions") <(echo "$c_exports") ||
  { echo "the C exports (>) differ from the header's functions (<)" >&2; exit 1; }
diff <(echo "$header_functions") <(echo "$man_functions") ||
  { echo "vor_session(3)'s SYNOPSIS (>) differs from the header's functions (<)" >&2; exit 1; }
! readelf -d "$1" | grep -q STATIC_TLS || { echo "libvor-host.so.0 needs static TLS" >&2; exit 1; }
grep -q '^vor::host::Session::Open(' <<<"$names" || { echo "vor::host::Session is not exported" >&2; exit 1; }
echo "$(wc -l <<<"$names") exports, $(wc -l <<<"$c_exports") of them C, all under VOR_HOST_0 and in vor_session(3)"
