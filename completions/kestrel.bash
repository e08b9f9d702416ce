# bash completion of kestrel. Option words ignore case; a list of probes is one word, its names
# separated by ";" and therefore quoted.

# The words, which need no quoting, that begin with $1; each with $2 in front.
_kestrel_offer() { mapfile -t COMPREPLY < <(compgen -P "${2-}" -W "$(cat)" -- "$1"); }

_kestrel_files() {
  compopt -o filenames
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}

_kestrel_probes() {
  local names=${cur#[\"\']} before=''
  [[ $names == *\;* ]] && before=${names%;*}\; names=${names##*;}
  _kestrel_offer "${names^^}" "$before" < <("$1" -batch -level 6 -listprobes 2>/dev/null)
}

# KEY=VALUE; "=" is a word of its own where the shell breaks words at it.
_kestrel_parameters() {
  local key=$before
  [[ $before == = ]] && key=${COMP_WORDS[COMP_CWORD - 2]}
  if [[ $before == = || $cur == = ]]; then
    [[ $cur == = ]] && cur=
    case ${key,,} in
      path) _kestrel_files ;;
      date | size) _kestrel_offer "${cur^}" <<<'Yes No' ;;
    esac
  else
    compopt -o nospace
    _kestrel_offer "${cur,,}" <<<'path= filter= ignore= mask= check= date= size= version='
  fi
}

_kestrel() {
  local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} at=$((COMP_CWORD - 1))
  while ((at > 0)) && [[ ${COMP_WORDS[at]} != -* ]]; do ((at--)); done
  local option=${COMP_WORDS[at]} distance=$((COMP_CWORD - at))
  COMPREPLY=()
  if [[ $cur != -* ]]; then
    case ${option,,}:$distance in
      -probe:1 | -probes:1 | -enable:1 | -skip:1) _kestrel_probes "$1" ;;
      -level:1) _kestrel_offer "$cur" <<<'0 1 2 3 4 5 6' ;;
      -timeout:1 | -filename:1) ;;
      -p:1) _kestrel_offer "${cur^^}" <<<FILESCAN ;;
      -p:*) _kestrel_parameters ;;
      -*file:1) _kestrel_files ;;
      -*file:2) _kestrel_offer "$cur" <<<'text/plain text/html text/xml application/octet-stream
        zyr/kestrel2 zyr/sysevent zyr/appevent zyr/secevent' ;;
    esac
    [[ ${#COMPREPLY[@]} -gt 0 || -n $cur ]] && return
  fi
  _kestrel_offer "${cur,,}" <<<'-help -batch -silent -step -listprobes -probe -probes -enable -skip
    -p -level -timeout -nolimit -text -html -local -stdout -filename -vpd -asciifile -textfile
    -binaryfile -xmlfile -ksmlfile -dgmlfile -debug -fdebug -install -uninstall'
}
complete -F _kestrel kestrel
