# Completion of the command lines of t1station, boardsim and boardrec for bash: commands, options, tests, families and
# files. What there is, the programs say themselves, in their help and in what they answer to a value that they do not
# know.

# The words of a list that the program ends a complaint with: "there are A, B and C".
_t1station_list() {
  local said
  said=$("$@" 2>&1 </dev/null)
  said=${said#*there are }
  said=${said%%. Did you mean*}
  said=${said//,/ }
  echo "${said/ and / }"
}

# The values of an option, where the program knows them all.
_t1station_values() {
  case $2 in
    --board) "$1" --board list | sed '1d; s/ .*//' ;;
    --family) _t1station_list "$1" list --family '?' ;;
    --verdict) _t1station_list "$1" records list /dev/null --verdict '?' ;;
    --format) _t1station_list "$1" records export /dev/null --format '?' ;;
  esac
}

_t1station_files() {
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
  compopt -o filenames 2>/dev/null || true # folders go on; where there is no completion around this, nothing does
}

_t1station() {
  local program=${COMP_WORDS[0]} word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} i
  COMPREPLY=()
  # Bash gives --plan=FILE as three words.
  [ "$word" != = ] || word=''
  [ "$before" != = ] || before=${COMP_WORDS[COMP_CWORD - 2]}
  [ "${COMP_WORDS[COMP_CWORD]}" != = ] || before=${COMP_WORDS[COMP_CWORD - 1]}

  # The command so far is what its own help, word by word, calls a command; a board's name stands anywhere before.
  local help commands command=()
  help=$("$program" --help 2>/dev/null) || return
  commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9-]*\) .*/\1/p' <<<"$help")
  for ((i = 1; i < COMP_CWORD; i++)); do
    [[ -n $commands && $'\n'$commands$'\n' == *$'\n'"${COMP_WORDS[i]}"$'\n'* ]] || continue
    command+=("${COMP_WORDS[i]}")
    help=$("$program" "${command[@]}" --help 2>/dev/null) || return
    commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9-]*\) .*/\1/p' <<<"$help")
  done

  # Behind an option that takes a value, the word is that value: the help has its kind behind the option.
  local kind=''
  [[ ! $before =~ ^--?[a-z0-9-]+$ ]] ||
    kind=$(sed -nE "s/^  ((-[a-z],)?$before|$before,--[a-z0-9-]+) ([A-Za-z0-9|]+)( |=|$).*/\3/p" <<<"$help")
  if [ -n "$kind" ]; then
    case $kind in
      FILE* | FOLDER* | DEVICE* | PATH* | SOCKET*) _t1station_files "$word" ;;
      *'|'*) mapfile -t COMPREPLY < <(compgen -W "${kind//|/ }" -- "$word") ;;
      *) mapfile -t COMPREPLY < <(compgen -W "$(_t1station_values "$program" "$before")" -- "$word") ;;
    esac
  elif [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(sed -nE 's/^  (-[a-z],)?(--[a-z0-9-]+).*/\2/p' <<<"$help")" -- "$word")
  elif [ -n "$commands" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
  elif [ "${command[*]}" = run ]; then
    local tests
    tests=$("$program" list | sed -nE 's/^ *-?[0-9]+ +(0x[0-9a-f]+ +)?([a-z0-9-]+) .*/\2/p')
    mapfile -t COMPREPLY < <(compgen -W "$tests" -- "$word")
  else
    _t1station_files "$word"
  fi
}

complete -F _t1station t1station boardsim boardrec
