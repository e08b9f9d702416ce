#!/usr/bin/env bash
# The house has no back door: who may include whom.
. "$(dirname "$0")/common.sh"
root=$here/../..
includes() { grep -nE "^#include \"($1)/" "${@:2}" || true; }
expect "" "$(includes 'gatherer|probes|tools|tests' "$root"/lib/*.{cc,h})" "lib/ includes only lib/"
others=$(ls "$root"/gatherer/*.{cc,h} | grep -v '/registration.cc$')
# shellcheck disable=SC2086
expect "" "$(includes 'probes|tools|tests' $others)" "gatherer/ includes nothing above it"
expect "" "$(includes 'tools|tests' "$root"/probes/*.{cc,h})" "probes/ include nothing above them"
# Probes include headers of other families only where one builds on another.
allowed='^(boot_linux|postbox_task|filescan_probe)$'
for file in "$root"/probes/*.{cc,h}; do
  name=$(basename "${file%.*}")
  family=${name%%_*}
  for used in $(sed -nE 's|^#include "probes/([a-z0-9_]+)\.h"|\1|p' "$file"); do
    case $used in
      "$family"*) ;;
      filescan*) [[ $name =~ $allowed ]] || die "$name includes $used" ;;
      rpm_software | deb_software) [[ $name == software_linux ]] || die "$name includes $used" ;;
      fs_partitions*) [[ $family == fs ]] || die "$name includes $used" ;;
      smapi) [[ $name == firmware_probe ]] || die "$name includes $used" ;;
      pci*) [[ $family == pci* ]] || die "$name includes $used" ;;
      *) die "$name includes $used" ;;
    esac
  done
done
# No two modules (a header and its source) need each other, by whatever way.
cd "$root" || exit 1
folders='lib|gatherer|probes|tools/ks2'
cycles=$(grep -HoE "^#include \"($folders)/[a-z0-9_]+" {lib,gatherer,probes,tools/ks2}/*.{cc,h} |
  sed -E 's/\.[a-z]+:#include "/ /' | tsort 2>&1 > /dev/null)
expect "" "${cycles//tsort: /}" "modules include each other in a circle"
# A file opens with what it is for, which is more than where to read on.
storyless=$(for file in {lib,gatherer,probes,tools/ks2}/*.{cc,h}; do
  awk -v name="$file" '/^\/\// { story = story $0; next }
    { if (story !~ /[a-z]/ || story ~ /^\/\/ See [a-z0-9_]+\.h\.$/) print name; exit }' "$file"
done)
expect "" "$storyless" "files that do not say what they are for"
