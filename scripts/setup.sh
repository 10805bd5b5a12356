#!/usr/bin/env bash
# Installs what building and testing need, from the distribution's packages. Safe to run again.
set -euo pipefail

build=(g++ cmake ninja-build ccache pkg-config)
libraries=(libopencv-dev libaravis-dev libusb-1.0-0-dev libserialport-dev libspdlog-dev libfmt-dev
  libsimpleini-dev nlohmann-json3-dev libcli11-dev qt6-base-dev libboost-dev libnats-dev)
tests=(libgtest-dev googletest aravis-tools nats-server)
analysis=(clang libclang-rt-dev)                               # the short fuzz
fonts=(fonts-nanum)                                            # Korean texts of the settings dialogs
windows=(g++-mingw-w64-x86-64-posix wine64)                    # scripts/test-windows.sh
all=("${build[@]}" "${libraries[@]}" "${tests[@]}" "${analysis[@]}" "${fonts[@]}" "${windows[@]}")

if ! command -v apt-get >/dev/null; then
  echo "setup: this machine has no apt-get; install by hand: ${all[*]}" >&2
  exit 1
fi

missing=()
for package in "${all[@]}"; do
  if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
    missing+=("$package")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: everything is installed"
  exit 0
fi

echo "setup: installing ${missing[*]}"
become=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup: there is no sudo; run this as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  become=(sudo)
fi
apt=("${become[@]}" env DEBIAN_FRONTEND=noninteractive apt-get) # sudo passes no environment on
"${apt[@]}" update -qq
"${apt[@]}" install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
