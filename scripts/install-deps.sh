#!/usr/bin/env bash
# Installs what building, testing and benchmarking need on Debian.
set -euo pipefail
SUDO=
if [ "$(id -u)" != 0 ]; then SUDO=sudo; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends \
  build-essential cmake ninja-build pkg-config python3 \
  libssl-dev openssl libbz2-dev bzip2 \
  libgtest-dev libgmock-dev libbenchmark-dev \
  clang libclang-rt-dev time ccache \
  help2man man-db python3-pip python3-setuptools python3-wheel \
  zlib1g-dev libbotan-2-dev libcrypto++-dev libgcrypt20-dev libmhash-dev
