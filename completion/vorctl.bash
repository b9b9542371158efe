# bash completion for vorctl(1)                          -*- shell-script -*-
#
# The three tables below are the whole grammar. A new command is one line in
# _vorctl_commands; a new option one word in _vorctl_global_options or in its
# command's line and, when it takes a value, one line in _vorctl_values.

# Options that may stand before or after the command.
_vorctl_global_options='--module --storage --sysroot --flag --env --trace --trace-file --json
  --version --help'

# command -> "its own options|its operands". Operands: file, dir, pid, code
# or none; a leading "-" also offers "-" (read the operands from stdin).
declare -gA _vorctl_commands=(
  [status]='|none'
  [check-file]='--exact --only --explain -0|-file'
  [check-pid]='--only --explain -0|-pid'
  [ps]='--critical --explain|none'
  [os-release]='|none'
  [list-files]='--missing --entries|none'
  [validate-proc-list]='|file'
  [explain]='|code'
  [make-test-sample]='|dir'
  [metrics]='--output|none'
  [help]='|none'
  [version]='|none'
)

# option -> what its value is: file, dir, a file name pattern (*.so), or
# "words:" and the words to offer (a word ending in "=" waits for more).
declare -gA _vorctl_values=(
  [--module]='*.so'
  [--storage]=dir
  [--sysroot]=dir
  [--trace-file]=file
  [--trace]='words:error warning info debug'
  [--flag]='words:disable_vor.process.namespaces.workaround='
  [--env]='words:ProductType='
  [--only]='words:critical not-critical'
  [--output]=file
)

# Offers the words of $1 that begin with $2.
_vorctl_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

# Offers what `kind` (a value of the tables above) stands for.
_vorctl_complete() {
  local kind=$1 cur=$2
  case $kind in
    file) _filedir ;;
    dir) _filedir -d ;;
    \*.*) _filedir "${kind#\*.}" ;;
    pid) _vorctl_words "$(cd /proc && compgen -G '[0-9]*')" "$cur" ;;
    code) [[ -z $cur ]] && COMPREPLY=(0x) && compopt -o nospace ;;
    words:*)
      _vorctl_words "${kind#words:}" "$cur"
      [[ ${COMPREPLY[*]} == *= ]] && compopt -o nospace
      ;;
  esac
}

_vorctl() {
  local cur prev words cword
  _init_completion -n = || return
  COMPREPLY=()

  # --option=VALUE: complete the value.
  if [[ $cur == --*=* && -n ${_vorctl_values[${cur%%=*}]+set} ]]; then
    local option=${cur%%=*}
    cur=${cur#*=}
    _vorctl_complete "${_vorctl_values[$option]}" "$cur"
    return
  fi
  if [[ -n ${_vorctl_values[$prev]+set} ]]; then
    _vorctl_complete "${_vorctl_values[$prev]}" "$cur"
    return
  fi

  # The command is the first word that is neither an option nor its value.
  local command='' i word
  for ((i = 1; i < cword; i++)); do
    word=${words[i]}
    if [[ $word == -* ]]; then
      [[ -n ${_vorctl_values[$word]+set} ]] && ((i++))
    elif [[ -n ${_vorctl_commands[$word]+set} ]]; then
      command=$word
      break
    fi
  done

  if [[ -z $command ]]; then
    if [[ $cur == -* ]]; then
      _vorctl_words "$_vorctl_global_options" "$cur"
    else
      _vorctl_words "${!_vorctl_commands[*]}" "$cur"
    fi
    return
  fi

  local grammar=${_vorctl_commands[$command]}
  local options=${grammar%%|*} operands=${grammar#*|}
  if [[ $cur == -* ]]; then
    _vorctl_words "$options $_vorctl_global_options" "$cur"
    [[ $cur == - && $operands == -* ]] && COMPREPLY+=(-)
    return
  fi
  [[ $operands == none ]] && return
  _vorctl_complete "${operands#-}" "$cur"
  if [[ $operands == -* && -z $cur ]]; then
    COMPREPLY+=(-)
  fi
}

complete -F _vorctl vorctl
