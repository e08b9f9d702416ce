# Installs the Debian packages that are missing; sourced by ./run and ./test.
# install_missing PACKAGE... : asks dpkg first, so that a second run needs neither root nor network.
install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "These packages are missing; install them as root: ${missing[*]}" >&2
      return 1
    }
    sudo=(sudo)
  fi
  echo "Installing: ${missing[*]}" >&2
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq >&2 &&
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
      --no-install-recommends "${missing[@]}" >&2
}

BUILD_PACKAGES=(g++ cmake ninja-build git pci.ids)
TEST_PACKAGES=(libgtest-dev lhasa locales python3-fusepy chromium chromium-driver libxml2-utils python3 util-linux gawk strace)
PACKAGE_PACKAGES=(dpkg-dev file gzip lintian)
VM_PACKAGES=(qemu-system-x86 cpio kmod e2fsprogs lhasa xz-utils python3)
