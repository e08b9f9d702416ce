# bash completion of ks2. Commands, options and item names come from the program's own help texts,
# sections and tables from the report that the command line names.

# The words of standard input that begin like the word at the cursor, in any case.
_ks2_offer() {
  mapfile -t COMPREPLY < <(WORD=${cur//\\/} awk '
    BEGIN { word = tolower(ENVIRON["WORD"]); gsub(/["\047]/, "", word) }
    tolower(substr($0, 1, length(word))) == word && !seen[$0]++')
}

# "SECTION" and "SECTION/TABLE", a line each.
_ks2_parts() {
  "$1" show -F json "$2" 2>/dev/null | awk -F'"' '
    $2 == "section" { section = $4; print section }
    $2 == "table" { print section "/" $4 }'
}

_ks2() {
  local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command='' file='' operands=0 i
  COMPREPLY=()
  [[ $before == = ]] && before=${COMP_WORDS[COMP_CWORD - 2]}
  [[ $cur == = ]] && cur=
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      -d | --directory | -F | --format | -m | --max-size | -o | --output)
        # "=" is a word of its own where the shell breaks words at it.
        [[ ${COMP_WORDS[++i]} == = ]] && ((++i))
        ;;
      -?*) ;;
      *)
        # Options may stand in front of the command, too.
        if [[ -z $command ]]; then
          command=${COMP_WORDS[i]}
        else
          ((operands++)) || file=$(printf '%s' "${COMP_WORDS[i]/#\~\//$HOME/}" | tr -d "\\\\\"'")
        fi
        ;;
    esac
  done
  case $before in
    -d | --directory) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$cur"); return ;;
    -F | --format) _ks2_offer < <(printf '%s\n' text csv json); return ;;
    -m | --max-size) return ;;
  esac
  if [[ -z $command || $command == help ]]; then
    _ks2_offer < <([[ -n $command ]] || printf '%s\n' --help --version
      "$1" --help | awk '$1 == "ks2" && $2 != "help" { print $2 }')
  elif [[ $cur == -* ]]; then
    _ks2_offer < <("$1" "$command" --help | grep -o -e '--[a-z-]*')
  elif [[ $command == show && $operands -gt 0 ]]; then
    compopt -o filenames
    _ks2_offer < <(_ks2_parts "$1" "$file")
  elif [[ $command == extract && $operands -gt 0 ]]; then
    _ks2_offer < <("$1" extract --help | tr -d '\n' | sed 's/.*type (\([^)]*\)).*/\1/' | tr -s ', ' '\n')
  else
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
  fi
}
complete -F _ks2 ks2
