#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need, when
# any is missing.  As root it installs them; otherwise it names them.
set -euo pipefail
packages=(cmake ninja-build g++ clang libclang-rt-14-dev lld pkg-config openssl
          libssl-dev zlib1g-dev libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev libspdlog-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then exit 0; fi
if [ "$(id -u)" -eq 0 ]; then
  echo "== installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
else
  echo "missing packages; run as root or install them:" >&2
  echo "  sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
