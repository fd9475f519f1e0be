#!/usr/bin/env bash
# Installs the Debian packages the build needs, and only those that are missing.
# Usage: scripts/setup.sh [extra packages...]
set -euo pipefail

packages=(g++ make cmake pkg-config binutils libicu-dev libjpeg62-turbo-dev libtiff-dev
          libgeotiff-dev libpng-dev libgtest-dev "$@")
missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
fi
