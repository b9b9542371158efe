#!/usr/bin/env bash
# libvor.so must export exactly its three symbols, need only glibc and carry
# no SONAME, so that a host of any C++ runtime can dlopen it.
set -euo pipefail
exports=$(nm -D --defined-only "$1" | awk '{print $3}' | sort | tr '\n' ' ')
dynamic=$(readelf -d "$1")
others=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic" |
  grep -Ev '^(libc|libm|libpthread|libdl|librt)\.so\.|^ld-linux-x86-64\.so\.' || true)
[[ "$exports" == "zelCanUnloadModule zelGetObjectFactory zelModuleVersion " ]] || { echo "exports: $exports" >&2; exit 1; }
[[ -z "$others" ]] || { echo "unexpected NEEDED libraries: $others" >&2; exit 1; }
! grep -q '(SONAME)' <<<"$dynamic" || { echo "a dlopen-only module carries no SONAME" >&2; exit 1; }
echo "exports: $exports"
