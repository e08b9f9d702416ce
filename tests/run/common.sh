# Shared by the whole-run tests: a scratch folder, short checks, and recorded machines. Sourced with
# the build folder as $1.
set -u
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
kestrel=$build/kestrel
gather="python3 $here/gather.py"
scratch=$(mktemp -d)
# Every gather file that a test leaves is whole, but for those it lists in `spoiled` (a pattern).
spoiled=
leave() {
  local status=$? file
  [ $status = 0 ] && while read -r file; do
    # shellcheck disable=SC2254
    case $file in $spoiled) continue ;; esac
    "$build/ks2" verify "$scratch/$file" > "$scratch/verdict" && continue
    status=1
    head -n 5 "$scratch/verdict" >&2
  done < <(cd "$scratch" && find . -type f -name '*.KS2' -o -type f -name '*.GTH')
  rm -rf "$scratch"
  exit $status
}
trap leave EXIT
cd "$scratch" || exit 1

die() { echo "FAILED: $*" >&2; exit 1; }

# expect WANTED FOUND WHAT
expect() { [ "$1" = "$2" ] || die "$3: wanted '$1', found '$2'"; }

# holds FILE TEXT: the file has a line with that text
holds() { grep -qF -- "$2" "$1" || die "$1 does not hold '$2': $(head -c 2000 "$1")"; }
lacks() { ! grep -qF -- "$2" "$1" || die "$1 holds '$2'"; }

# the one gather file of a folder
gather_file() { find "${1:-.}" -maxdepth 1 -name '*.KS2' | head -n 1; }

# in_machine ROOT COMMAND...: see tests/machines/enter.sh
in_machine() { bash "$here/../machines/enter.sh" "$@"; }

# cell FILE SECTION TABLE ROW COLUMN: rows and columns count from 1
cell() { $gather table "$1" "$2" "$3" | sed -n "$4p" | cut -f "$5"; }
