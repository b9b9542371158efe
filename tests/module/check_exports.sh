#!/usr/bin/env bash
# libvor.so must export exactly its three symbols and need only glibc, so that
# it loads into any host whatever C++ runtime that host has.
set -euo pipefail
module=$1

exports=$(nm -D --defined-only "$module" | awk '{print $3}' | sort | tr '\n' ' ')
expected="zelCanUnloadModule zelGetObjectFactory zelModuleVersion "
if [[ "$exports" != "$expected" ]]; then
  echo "exports: '$exports', expected '$expected'" >&2
  exit 1
fi

needed=$(readelf -d "$module" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for lib in $needed; do
  case "$lib" in
    libc.so.*|libm.so.*|libpthread.so.*|libdl.so.*|librt.so.*|ld-linux-x86-64.so.*) ;;
    *) echo "unexpected NEEDED library: $lib" >&2; exit 1 ;;
  esac
done
if readelf -d "$module" | grep -q '(SONAME)'; then
  echo "a dlopen-only module carries no SONAME" >&2
  exit 1
fi
echo "exports: $exports; needed: $(echo $needed)"
