# Sourced by a machine's bin/TOOL with the tool's arguments: prints what the tool printed for them
# when the machine was recorded (answers/TOOL/ARGUMENTS, characters that no file name should have
# replaced), and ends as it did (ARGUMENTS.rc, if not 0). What was not recorded fails.
answers=${0%/*}/../answers/${0##*/}
arguments=$(printf '%s' "$*" | tr -c 'A-Za-z0-9.-' _ | cut -c 1-60)
answer=$answers/${arguments:-none}
[ -f "$answer" ] || exit 1
cat "$answer"
[ ! -f "$answer.rc" ] || exit "$(cat "$answer.rc")"
