#!/usr/bin/env bash
# Installs what the build, the tests and the demo need on a Debian machine
# (Open3D and PCL's tools read the point clouds of the grab tests; Python,
# numpy and pytest run the Python package's tests).
# Safe to run again: packages already present are not fetched again.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
deps_dir="${ORNC_DEPS_DIR:-$repo_dir/.deps}"

packages=(
  cmake g++ clang clang-format pkg-config make
  libgtest-dev libgmock-dev
  libaravis-dev libusb-1.0-0-dev aravis-tools-cli
  libglib2.0-dev libxml2-dev zlib1g-dev libpng-dev
  libclang-rt-dev
  iproute2 util-linux procps tshark
  python3-open3d pcl-tools
  python3-numpy python3-pytest python3-setuptools python3-venv
)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

missing=()
for pkg in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$pkg")
  fi
done

if [ "${#missing[@]}" -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# Aravis's fake camera and conformance tester ship in a package whose GUI
# dependencies we do not want: unpack its binaries next to the tree; they
# only need libaravis.
if [ ! -x "$deps_dir/aravis-tools/usr/bin/arv-test-0.8" ]; then
  mkdir -p "$deps_dir"
  (
    cd "$deps_dir"
    if ! ls aravis-tools_*.deb >/dev/null 2>&1; then
      apt-get download aravis-tools >/dev/null 2>&1 || { as_root apt-get update -qq && apt-get download aravis-tools; }
    fi
    dpkg-deb -x aravis-tools_*.deb aravis-tools
  )
fi
echo "install-deps: ready"
