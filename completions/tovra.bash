# Completion of tovra for Bash. Commands and options are what the program's own help lists; nodes, URIs and
# configurations come from the templates and data that the line names.

# The words of the first column of a help text: of its commands, or of its options.
_tovra_help() {
  tovra "${@:2}" --help 2>/dev/null | if [ "$1" = commands ]; then
    sed -n '/^Subcommands:/,$s/^  \([a-z][a-z-]*\) .*/\1/p'
  else
    grep -oE '^ +(-[a-z],)?--[a-z-]+' | grep -oE -e '--[a-z-]+'
  fi
}

# What the option takes, as the command's help has it: FILE, DIR, NAME=TEXT, FORMAT:{text,json}.
_tovra_kind() {
  [[ $2 == --* ]] && tovra "$1" --help 2>/dev/null |
    sed -nE "s/^ +(-[a-z],)?$2 ([A-Z][^ ]*[^ :])( .*)?\$/\2/p"
}

# Sets COMPREPLY to those of the given lines that begin with the word; blanks in them are protected.
_tovra_choose() {
  local line
  COMPREPLY=()
  while IFS= read -r line; do
    [[ -n $line && $line == "$word"* ]] && COMPREPLY+=("$(printf %q "$line")")
  done
}

_tovra_files() {
  compopt -o filenames 2>/dev/null
  local IFS=$'\n'
  COMPREPLY=($(compgen "$1" -- "$word"))
}

_tovra() {
  # The line again, in words that ':' and '=' do not end.
  local line=${COMP_LINE:0:COMP_POINT} words word before command='' given=() i
  read -ra words <<<"$line"
  [[ $line == *[[:blank:]] ]] && words+=('')
  word=${words[-1]}
  before=${words[-2]}
  for ((i = 1; i < ${#words[@]} - 1; ++i)); do
    case ${words[i]} in
      --templates | --data) given+=("${words[i]}" "${words[i + 1]}") ;;
      -*) ;;
      *) [ -n "$command" ] || command=${words[i]} ;;
    esac
  done

  local prefix=''
  if [[ -z $command ]]; then
    _tovra_choose < <([[ $word == -* ]] && printf -- '--help\n--version\n' || _tovra_help commands)
  else
    local kind
    kind=$(_tovra_kind "$command" "$before")
    case $before:$kind in
      --templates:*)
        [[ $word == *:* ]] && prefix=${word%:*}: word=${word##*:}
        _tovra_files -d
        ;;
      --named:*)
        [[ $word == *=* ]] && prefix=${word%%=*}= word=${word#*=} && _tovra_files -f
        ;;
      --node:*) _tovra_choose < <(_tovra_nodes) ;;
      --config:*)
        _tovra_choose < <(grep -oE -e '--named[ =]+[^= ]+=' <<<"$line" | sed -E 's/--named[ =]+(.*)=/\1/')
        ;;
      --trace:*) _tovra_choose <<<$'3\n4\n6\n7' ;;
      *:*{*) kind=${kind#*\{} && kind=${kind%\}*} && _tovra_choose <<<"${kind//,/$'\n'}" ;;
      *:FILE* | *:SOURCE*) _tovra_files -f ;;
      *:DIR*) _tovra_files -d ;;
      *:?*) COMPREPLY=() ;;
      *)
        if [[ $word == -* ]]; then
          _tovra_choose < <(_tovra_help options "$command")
        elif [[ $command == help ]]; then
          _tovra_choose < <(_tovra_help commands)
        elif [[ $command == get ]]; then
          _tovra_choose < <(_tovra_paths)
        elif [[ $command =~ ^(render|explain|coverage|fleet)$ ]]; then
          _tovra_choose < <(_tovra_nodes)
        else
          _tovra_files -f
        fi
        ;;
    esac
  fi

  # What readline replaces begins after the last of its own word breaks.
  local cut=$prefix
  if [[ $prefix$word == *[:=]* && $COMP_WORDBREAKS == *:* ]]; then
    cut=''
    local shown=${prefix}${word}
    shown=${shown%"${shown##*[:=]}"}
    [[ -n $prefix ]] || COMPREPLY=("${COMPREPLY[@]#"$shown"}")
  fi
  [[ -n $cut ]] && COMPREPLY=("${COMPREPLY[@]/#/$cut}")
  return 0
}

_tovra_nodes() {
  local i templates=()
  for ((i = 0; i < ${#given[@]}; i += 2)); do
    [ "${given[i]}" = --templates ] && templates=(--templates "${given[i + 1]}")
  done
  tovra tree "${templates[@]}" 2>/dev/null | sed -n 's/^ *\([^ ]*\).*/\1/p' | grep -vx ROOT
}

_tovra_paths() {
  local i
  for ((i = 0; i < ${#given[@]}; i += 2)); do
    [ "${given[i]}" = --data ] && tovra get --data "${given[i + 1]}" 2>/dev/null | sed 's/ [0-9]*$//'
  done
}

complete -F _tovra tovra
