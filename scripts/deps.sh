#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing need, when run as
# root and something is missing. --fuzz adds clang for the fuzzers, --valgrind
# valgrind for CI's memcheck stage, --package what building and checking the
# .deb packages needs.
set -euo pipefail

packages=(cmake ninja-build g++ binutils libgtest-dev libgmock-dev libbenchmark-dev
          libpugixml-dev libcli11-dev nlohmann-json3-dev pkg-config python3-pytest
          python3-prometheus-client)
for flag in "$@"; do
  case "$flag" in
    --fuzz) packages+=(clang libclang-rt-dev) ;;
    --valgrind) packages+=(valgrind) ;;
    --package) packages+=(dpkg-dev file lintian) ;;
    *) echo "usage: $0 [--fuzz] [--valgrind] [--package]" >&2; exit 2 ;;
  esac
done

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -ne 0 ]]; then
  echo "missing packages: ${missing[*]}" >&2
  echo "install them with: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
